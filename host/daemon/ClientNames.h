#pragma once
// The daemon's client names: each name a connection gives in its HELLO has one event proxy of
// the plug-in and one channel that carries the proxy's events and requests to every
// connection of that name. A bounded table: when it is full, the name unused longest is
// recycled (see recycleIdleName). Thread-safe: one lock for the table; a channel has its own.

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Connection.h"
#include "HostMutex.h"
#include "ProxyRequest.h"

class Executable;
class FrameworkContext;
class PluginHost;

// The request channel of one client name's event proxy: events go to every connection
// of that name; a request goes to them too and waits for the first answer.
class ClientChannel : public ProxyRequest {
public:
    ClientChannel(std::string name, FrameworkContext& context, int answerTimeoutMs);

    void attach(const ConnectionPtr& connection);
    // Takes no hold of any connection: the last hold of one must never be let go under this
    // channel's lock or the name table's lock (its end takes the table's lock).
    void detach(const Connection* connection);
    // The answer of a connection to the proxy request `id`; the first one counts.
    void deliverAnswer(std::uint32_t id, const std::string& text);

    void setMessageFormat(const std::string& format) override { m_format = format; }
    void sendEvent(const std::string& message) override;
    // Waits up to the answer timeout for the first answer; an empty answer (and a fault line)
    // when none comes or no connection has the name.
    void sendRequest(const std::string& request, std::string& reply) override;
    FrameworkContext* getFrameworkContext() override { return &m_context; }

private:
    std::string m_name;
    FrameworkContext& m_context;
    int m_answerTimeoutMs;
    FaultLog m_faults;
    std::string m_format;
    HostMutex m_mutex;
    std::condition_variable m_changed;
    using Attached = std::pair<const Connection*, std::weak_ptr<Connection>>;
    std::vector<Attached> m_connections DAS_GUARDED_BY(m_mutex);
    std::map<std::uint32_t, std::pair<bool, std::string>> m_answers DAS_GUARDED_BY(m_mutex);
    std::uint32_t m_nextId DAS_GUARDED_BY(m_mutex) = 1;

    // The caller lets the holds go outside m_mutex.
    std::vector<ConnectionPtr> liveConnections();
};

class ClientNames {
public:
    // Client names with an event proxy at one time. A name whose connections have all gone
    // keeps its proxy (a client that comes back under it gets its events) until its slot is
    // needed for a new name.
    static constexpr std::size_t kMaxNames = 1024;
    // Proxies of recycled names that the service may still hold (as its dialler or call
    // context provider): kept, silent, until the service goes. Past this many, only names that
    // never reached the service are recycled.
    static constexpr std::size_t kMaxRetiredProxies = 4096;
    static constexpr std::size_t kMaxNameLength = 255;

    // Borrows the host, which makes the proxies and must outlive the table.
    ClientNames(PluginHost& host, int answerTimeoutMs) : m_host(host), m_answerTimeoutMs(answerTimeoutMs) {}

    // `connection` holds `name` from now on: the name's channel (made, with its proxy, on first
    // use) carries its frames too. False when every name is in use or the plug-in made no proxy.
    bool take(const ConnectionPtr& connection, const std::string& name);
    // One hold of `name` went with its connection (and the connection's requests).
    void release(const std::string& name);
    // The connection's name no longer sends it the channel's frames.
    void detach(const Connection& connection);
    // The answer of `connection` to its name's proxy request `id`.
    void deliverAnswer(const Connection& connection, std::uint32_t id, const std::string& text);
    // A request of `name` reaches the service, which may hold its proxy from now on.
    void markReachedService(const std::string& name);
    // Destroys every proxy; only once the service has gone.
    void clear();

private:
    // A client name's event proxy and its channel, and who holds the name.
    struct Slot {
        std::unique_ptr<ClientChannel> channel;
        std::unique_ptr<Executable> proxy;
        // Connections (alive, requests included) that named themselves so.
        std::size_t connections = 0;
        // A request of the name reached the service: the service may hold the proxy.
        bool reachedService = false;
        // When the last connection went, for recycling the longest unused name first.
        std::uint64_t lastUsed = 0;
    };

    PluginHost& m_host;
    int m_answerTimeoutMs;
    HostMutex m_mutex;
    std::map<std::string, Slot> m_names DAS_GUARDED_BY(m_mutex);
    // Proxies (with their channels) of recycled names the service may still hold.
    std::vector<Slot> m_retired DAS_GUARDED_BY(m_mutex);
    std::uint64_t m_clock DAS_GUARDED_BY(m_mutex) = 0;

    ClientChannel* channelFor(const std::string& name) DAS_REQUIRES(m_mutex);
    bool recycleIdleName() DAS_REQUIRES(m_mutex);
};
