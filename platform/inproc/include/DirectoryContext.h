#pragma once
// The look-up half of a framework context: executables by interface name, client proxies by
// interface and client name, and the channel name of an executable. The virtual-clock context
// here and the host's real-time context both stand on it and add only their timers. It
// borrows every executable it is given. Thread-safe: each operation takes the directory's own
// lock, briefly, and calls nothing while holding it.

#include <map>
#include <mutex>
#include <string>

#include "Executable.h"
#include "FrameworkContext.h"

class DirectoryContext : public Context {
public:
    // Registers `executable` under `interfaceName`, replacing any earlier one; null removes it.
    void registerExecutable(const std::string& interfaceName, Executable* executable);
    void unregisterExecutable(const std::string& interfaceName);
    // Registers the proxy of `clientName` for `interfaceName`; null removes it.
    void registerProxy(const std::string& interfaceName, const std::string& clientName, Executable* proxy);
    // Names the client channel `executable` speaks for; an empty name removes it.
    void setChannelName(Executable* executable, const std::string& channelName);

    // Null, or an empty name, when nothing is registered.
    Executable* findExecutable(const std::string& interfaceName) override;
    Executable* findProxy(const std::string& interfaceName, const std::string& clientName) override;
    std::string findChannel(Executable* executable) override;

private:
    std::mutex m_directoryMutex;
    std::map<std::string, Executable*> m_executables;
    // Client proxies by interface name, then client name: looked up on every request that
    // names its client, so the look-up compares the names where they stand and copies none.
    std::map<std::string, std::map<std::string, Executable*>> m_proxies;
    std::map<Executable*, std::string> m_channels;
};
