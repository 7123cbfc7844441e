#include "ClientNames.h"

#include <algorithm>
#include <chrono>

#include "Executable.h"
#include "PluginHost.h"
#include "TextQuote.h"

ClientChannel::ClientChannel(std::string name, FrameworkContext& context, int answerTimeoutMs)
    : m_name(std::move(name)), m_context(context), m_answerTimeoutMs(answerTimeoutMs),
      m_faults("client " + quoteText(m_name))
{
}

void ClientChannel::attach(const ConnectionPtr& connection)
{
    HostLock lock(m_mutex);
    m_connections.emplace_back(connection.get(), connection);
}

void ClientChannel::detach(const Connection* connection)
{
    HostLock lock(m_mutex);
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                       [&](const Attached& held) {
                                           return held.first == connection || held.second.expired();
                                       }),
                        m_connections.end());
    m_changed.notify_all();
}

void ClientChannel::deliverAnswer(std::uint32_t id, const std::string& text)
{
    HostLock lock(m_mutex);
    const auto it = m_answers.find(id);
    if (it == m_answers.end() || it->second.first) return;
    it->second = {true, text};
    m_changed.notify_all();
}

void ClientChannel::sendEvent(const std::string& message)
{
    for (const auto& connection : liveConnections()) connection->send(Frame{FrameKind::Event, 0, message});
}

void ClientChannel::sendRequest(const std::string& request, std::string& reply)
{
    reply.clear();
    std::uint32_t id = 0;
    {
        HostLock lock(m_mutex);
        id = m_nextId++;
        m_answers[id] = {false, std::string()};
    }
    bool sent = false;
    for (const auto& connection : liveConnections())
        sent = connection->send(Frame{FrameKind::ProxyRequest, id, request}) || sent;
    HostLock lock(m_mutex);
    if (sent) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_answerTimeoutMs);
        while (!m_answers[id].first && !m_connections.empty()) {
            if (!lock.waitUntil(m_changed, deadline)) break;
        }
    }
    const bool answered = m_answers[id].first;
    if (answered) reply = m_answers[id].second;
    m_answers.erase(id);
    lock.unlock();
    if (!answered)
        m_faults.report("no answer from client \"" + m_name + "\" to " + excerpt(request) + "; taking an empty answer");
}

std::vector<ConnectionPtr> ClientChannel::liveConnections()
{
    HostLock lock(m_mutex);
    std::vector<ConnectionPtr> live;
    for (const auto& held : m_connections) {
        if (auto connection = held.second.lock()) live.push_back(std::move(connection));
    }
    return live;
}

bool ClientNames::take(const ConnectionPtr& connection, const std::string& name)
{
    HostLock lock(m_mutex);
    ClientChannel* channel = channelFor(name);
    if (channel == nullptr) return false;
    ++m_names[name].connections;
    channel->attach(connection);
    return true;
}

void ClientNames::release(const std::string& name)
{
    HostLock lock(m_mutex);
    const auto it = m_names.find(name);
    if (it == m_names.end() || it->second.connections == 0) return;
    --it->second.connections;
    it->second.lastUsed = ++m_clock;
}

void ClientNames::detach(const Connection& connection)
{
    if (connection.name.empty()) return;
    HostLock lock(m_mutex);
    const auto it = m_names.find(connection.name);
    if (it != m_names.end()) it->second.channel->detach(&connection);
}

void ClientNames::deliverAnswer(const Connection& connection, std::uint32_t id, const std::string& text)
{
    HostLock lock(m_mutex);
    const auto it = m_names.find(connection.name);
    if (it != m_names.end()) it->second.channel->deliverAnswer(id, text);
}

void ClientNames::markReachedService(const std::string& name)
{
    HostLock lock(m_mutex);
    const auto it = m_names.find(name);
    if (it != m_names.end()) it->second.reachedService = true;
}

void ClientNames::clear()
{
    HostLock lock(m_mutex);
    for (auto& [name, slot] : m_names) slot.proxy.reset();
    for (auto& slot : m_retired) slot.proxy.reset();
    m_names.clear();
    m_retired.clear();
}

// The channel of a client name, with its event proxy made on first use; when all slots are
// taken, the name unused longest is recycled first. Null when every name is in use.
// Needs m_mutex.
ClientChannel* ClientNames::channelFor(const std::string& name)
{
    const auto found = m_names.find(name);
    if (found != m_names.end()) return found->second.channel.get();
    if (m_names.size() >= kMaxNames && !recycleIdleName()) return nullptr;
    auto channel = std::make_unique<ClientChannel>(name, m_host.context(), m_answerTimeoutMs);
    std::unique_ptr<Executable> proxy = m_host.openEventProxy(name, *channel);
    if (!proxy) return nullptr;
    Slot& slot = m_names[name];
    slot.proxy = std::move(proxy);
    slot.channel = std::move(channel);
    return slot.channel.get();
}

// Frees the slot of the name unused longest among those with no connection. A proxy that
// never reached the service is destroyed; one that did may be held by the service as its
// dialler or call context provider, so it is kept (silent: no connection will have it
// again) until the service goes. False when no name can be recycled. Needs m_mutex.
bool ClientNames::recycleIdleName()
{
    auto chosen = m_names.end();
    for (auto it = m_names.begin(); it != m_names.end(); ++it) {
        const Slot& slot = it->second;
        if (slot.connections != 0 || (slot.reachedService && m_retired.size() >= kMaxRetiredProxies)) continue;
        // Names that never reached the service go first: recycling them keeps nothing.
        const auto rank = [](const Slot& s) { return std::make_pair(s.reachedService, s.lastUsed); };
        if (chosen == m_names.end() || rank(slot) < rank(chosen->second)) chosen = it;
    }
    if (chosen == m_names.end()) return false;
    m_host.withdrawEventProxy(chosen->first);
    Slot slot = std::move(chosen->second);
    m_names.erase(chosen);
    if (slot.reachedService) {
        m_retired.push_back(std::move(slot));
    } else {
        m_host.context().setChannelName(slot.proxy.get(), std::string());
        slot.proxy.reset();
        slot.channel.reset();
    }
    return true;
}
