#include "DirectoryContext.h"

void DirectoryContext::registerExecutable(const std::string& interfaceName, Executable* executable)
{
    std::lock_guard<std::mutex> lock(m_directoryMutex);
    if (executable == nullptr) {
        m_executables.erase(interfaceName);
        return;
    }
    m_executables[interfaceName] = executable;
}

void DirectoryContext::unregisterExecutable(const std::string& interfaceName)
{
    std::lock_guard<std::mutex> lock(m_directoryMutex);
    m_executables.erase(interfaceName);
}

void DirectoryContext::registerProxy(const std::string& interfaceName, const std::string& clientName, Executable* proxy)
{
    std::lock_guard<std::mutex> lock(m_directoryMutex);
    if (proxy != nullptr) {
        m_proxies[interfaceName][clientName] = proxy;
        return;
    }
    const auto clients = m_proxies.find(interfaceName);
    if (clients == m_proxies.end()) return;
    clients->second.erase(clientName);
    if (clients->second.empty()) m_proxies.erase(clients);
}

void DirectoryContext::setChannelName(Executable* executable, const std::string& channelName)
{
    std::lock_guard<std::mutex> lock(m_directoryMutex);
    if (channelName.empty()) {
        m_channels.erase(executable);
        return;
    }
    m_channels[executable] = channelName;
}

Executable* DirectoryContext::findExecutable(const std::string& interfaceName)
{
    std::lock_guard<std::mutex> lock(m_directoryMutex);
    const auto it = m_executables.find(interfaceName);
    return it == m_executables.end() ? nullptr : it->second;
}

Executable* DirectoryContext::findProxy(const std::string& interfaceName, const std::string& clientName)
{
    std::lock_guard<std::mutex> lock(m_directoryMutex);
    const auto clients = m_proxies.find(interfaceName);
    if (clients == m_proxies.end()) return nullptr;
    const auto it = clients->second.find(clientName);
    return it == clients->second.end() ? nullptr : it->second;
}

std::string DirectoryContext::findChannel(Executable* executable)
{
    std::lock_guard<std::mutex> lock(m_directoryMutex);
    const auto it = m_channels.find(executable);
    return it == m_channels.end() ? std::string() : it->second;
}
