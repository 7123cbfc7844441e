#include "Daemon.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "Executable.h"
#include "Framing.h"
#include "HardwareVersion.h"
#include "HostConfig.h"
#include "HostPeers.h"
#include "InvokerResponse.h"
#include "Logging.h"
#include "MemoryConfigStore.h"
#include "MgmtAgentIfc.h"
#include "PluginLibrary.h"
#include "ProxyRequest.h"
#include "RealTimeContext.h"
#include "RecordingPeers.h"
#include "SqliteDataAccessService.h"
#include "TextQuote.h"
#include "UnixSocket.h"

namespace {

const char* const kEventInterface = "DigitAnalysisServiceEventIfc";
const std::size_t kMaxClientNames = 1024;
const std::size_t kMaxClientNameLength = 255;
// Requests of one connection that may wait for a message thread; beyond that the
// connection's reader waits, so a client that floods the daemon is slowed, not served
// out of memory.
const std::size_t kMaxQueuedRequests = 1024;

std::mutex g_outputMutex;

void say(const std::string& text)
{
    std::lock_guard<std::mutex> lock(g_outputMutex);
    std::cerr << "dasd: " << text << std::endl;
}

// One client connection: its socket, its name, and the requests waiting for a message
// thread (handled one at a time, in order).
class Connection {
public:
    explicit Connection(int fd) : m_fd(fd) {}
    ~Connection() { ::close(m_fd); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int fd() const { return m_fd; }

    // Sends one frame. A frame too long for the protocol (a reply that echoes a request of
    // nearly the maximum size) is not sent: the client would have to end the connection.
    // It is logged and dropped, so the request still completes, without that reply.
    bool send(const Frame& frame)
    {
        const std::size_t length = encodedFrameLength(frame);
        if (length > kMaxFrameLength) {
            say(std::string(frameKindName(frame.kind)) + " frame for client \"" + name + "\" dropped: length " +
                std::to_string(length) + " exceeds the limit of " + std::to_string(kMaxFrameLength));
            return false;
        }
        std::lock_guard<std::mutex> lock(m_writeMutex);
        if (m_broken) return false;
        if (!writeAll(m_fd, encodeFrame(frame))) {
            m_broken = true;
            ::shutdown(m_fd, SHUT_RDWR);
            return false;
        }
        return true;
    }

    void hangUp() { ::shutdown(m_fd, SHUT_RDWR); }

    std::string name;
    bool welcomed = false;
    std::thread reader;
    std::atomic<bool> finished{false};

    // The strand: requests of this connection, and whether a message thread has it.
    std::mutex queueMutex;
    std::condition_variable drained;
    std::deque<Frame> requests;
    bool scheduled = false;
    bool closing = false;

private:
    int m_fd;
    std::mutex m_writeMutex;
    bool m_broken = false;
};

using ConnectionPtr = std::shared_ptr<Connection>;

// The request channel of one client name's event proxy: events go to every connection
// of that name; a request goes to them too and waits for the first answer.
class ClientChannel : public ProxyRequest {
public:
    ClientChannel(std::string name, FrameworkContext& context, int answerTimeoutMs)
        : m_name(std::move(name)), m_context(context), m_answerTimeoutMs(answerTimeoutMs)
    {
    }

    void attach(const ConnectionPtr& connection)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_connections.push_back(connection);
    }

    void detach(const Connection* connection)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                           [&](const std::weak_ptr<Connection>& held) {
                                               const auto live = held.lock();
                                               return !live || live.get() == connection;
                                           }),
                            m_connections.end());
        m_changed.notify_all();
    }

    void deliverAnswer(std::uint32_t id, const std::string& text)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_answers.find(id);
        if (it == m_answers.end() || it->second.first) return;
        it->second = {true, text};
        m_changed.notify_all();
    }

    void setMessageFormat(const std::string& format) override { m_format = format; }

    void sendEvent(const std::string& message) override
    {
        for (const auto& connection : liveConnections()) connection->send(Frame{FrameKind::Event, 0, message});
    }

    void sendRequest(const std::string& request, std::string& reply) override
    {
        reply.clear();
        std::uint32_t id = 0;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            id = m_nextId++;
            m_answers[id] = {false, std::string()};
        }
        bool sent = false;
        for (const auto& connection : liveConnections())
            sent = connection->send(Frame{FrameKind::ProxyRequest, id, request}) || sent;
        std::unique_lock<std::mutex> lock(m_mutex);
        if (sent) {
            m_changed.wait_for(lock, std::chrono::milliseconds(m_answerTimeoutMs),
                               [&] { return m_answers[id].first || m_connections.empty(); });
        }
        if (m_answers[id].first) {
            reply = m_answers[id].second;
        } else {
            say("no answer from client \"" + m_name + "\" to " + quoteText(request) + "; taking an empty answer");
        }
        m_answers.erase(id);
    }

    FrameworkContext* getFrameworkContext() override { return &m_context; }

private:
    std::string m_name;
    FrameworkContext& m_context;
    int m_answerTimeoutMs;
    std::string m_format;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::weak_ptr<Connection>> m_connections;
    std::map<std::uint32_t, std::pair<bool, std::string>> m_answers;
    std::uint32_t m_nextId = 1;

    std::vector<ConnectionPtr> liveConnections()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<ConnectionPtr> live;
        for (const auto& held : m_connections) {
            if (auto connection = held.lock()) live.push_back(connection);
        }
        return live;
    }
};

// The reply channel of one request from a connection.
class SocketResponse : public InvokerResponse {
public:
    SocketResponse(ConnectionPtr connection, std::uint32_t id) : m_connection(std::move(connection)), m_id(id) {}
    void sendResponse(const char* data, int length) override
    {
        const std::string text = data != nullptr && length > 0 ? std::string(data, static_cast<std::size_t>(length)) : "";
        m_connection->send(Frame{FrameKind::Reply, m_id, text});
    }
    void responseComplete() override
    {
        if (completions++ == 0) m_connection->send(Frame{FrameKind::Complete, m_id, std::string()});
    }
    void getSenderName(std::string& name) override { name = m_connection->name; }
    int completions = 0;

private:
    ConnectionPtr m_connection;
    std::uint32_t m_id;
};

// A fixed set of threads running jobs from one queue, in order of arrival.
class WorkQueue {
public:
    void start(int threads)
    {
        for (int i = 0; i < threads; ++i) m_threads.emplace_back([this] { work(); });
    }
    void post(std::function<void()> job)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stopping) return;
        m_jobs.push_back(std::move(job));
        m_changed.notify_one();
    }
    // Finishes the jobs under way, drops the others and joins the threads.
    void stop()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
            m_jobs.clear();
            m_changed.notify_all();
        }
        for (auto& thread : m_threads) thread.join();
        m_threads.clear();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_jobs;
    std::vector<std::thread> m_threads;
    bool m_stopping = false;

    void work()
    {
        while (true) {
            std::function<void()> job;
            {
                std::unique_lock<std::mutex> lock(m_mutex);
                m_changed.wait(lock, [&] { return m_stopping || !m_jobs.empty(); });
                if (m_stopping) return;
                job = std::move(m_jobs.front());
                m_jobs.pop_front();
            }
            job();
        }
    }
};

std::string resultJson(bool ok) { return jsonText(Json{{"ok", ok}}); }
std::string errorJson(const std::string& message) { return jsonText(Json{{"error", message}}); }

// The text of one root item, to tell whether it changed.
std::string rootText(const ManageableData& data, const std::string& rootId)
{
    const DataNode* node = data.getRoot(rootId);
    if (node == nullptr) return std::string();
    ManageableData one;
    one.getOrAddRoot(rootId) = *node;
    return one.serialize();
}

}  // namespace

std::string defaultStorePath()
{
    const char* state = std::getenv("XDG_STATE_HOME");
    std::filesystem::path base;
    if (state != nullptr && *state != '\0') {
        base = state;
    } else {
        const char* home = std::getenv("HOME");
        base = std::filesystem::path(home != nullptr && *home != '\0' ? home : "/tmp") / ".local" / "state";
    }
    return (base / "digit-analysis" / "dasd.sqlite").string();
}

class Daemon::Impl {
public:
    explicit Impl(DaemonOptions options) : m_options(std::move(options)) {}

    int run();

private:
    DaemonOptions m_options;
    HostConfig m_config;
    std::unique_ptr<SqliteDataAccessService> m_database;
    std::unique_ptr<ObservedDataAccessService> m_dataAccess;
    std::unique_ptr<PluginLibrary> m_plugin;
    RealTimeContext m_context;
    MemoryConfigStore m_store;
    ReportingMediaControl m_media{[](const std::string& line) { say("tone " + line); }};
    RecordingTeamService m_team;
    SystemClock m_clock;

    std::unique_ptr<Executable> m_service;
    std::unique_ptr<Invoker> m_invoker;
    MgmtAgentIfc* m_agent = nullptr;

    std::mutex m_clientsMutex;
    std::map<std::string, std::unique_ptr<ClientChannel>> m_channels;
    std::map<std::string, std::unique_ptr<Executable>> m_proxies;
    std::vector<ConnectionPtr> m_connections;

    WorkQueue m_messageThreads;
    WorkQueue m_managementThread;
    int m_listenFd = -1;

    void loadConfiguration();
    void applyStoreConfig(const HostConfig& config);
    void startService();
    bool writeDialPlan(ManageableData plan);
    void serve(int signalFd);
    void accept();
    void shutDown();

    void readConnection(const ConnectionPtr& connection);
    bool handleFrame(const ConnectionPtr& connection, const Frame& frame);
    bool welcome(const ConnectionPtr& connection, const std::string& name);
    ClientChannel* channelFor(const std::string& name);
    void queueRequest(const ConnectionPtr& connection, const Frame& frame);
    void runNextRequest(const ConnectionPtr& connection);
    void manage(const ConnectionPtr& connection, const Frame& frame);
    std::string managementAnswer(const Frame& frame);
    void reloadConfiguration();
    void reapConnections(bool all);
};

Daemon::Daemon(DaemonOptions options) : m_impl(std::make_unique<Impl>(std::move(options))) {}
Daemon::~Daemon() = default;
int Daemon::run() { return m_impl->run(); }

int Daemon::Impl::run()
{
    if (m_options.logLevel) platformlog::setThreshold(*m_options.logLevel);
    platformlog::setSink([](const LogRecord& record) {
        say("log " + std::to_string(record.level) + " " + record.sourceFile + " " + quoteText(record.text));
    });
    loadConfiguration();
    if (m_options.storePath != ":memory:")
        std::filesystem::create_directories(std::filesystem::path(m_options.storePath).parent_path());
    m_database = std::make_unique<SqliteDataAccessService>(m_options.storePath);
    m_dataAccess = std::make_unique<ObservedDataAccessService>(*m_database, nullptr);
    m_plugin = std::make_unique<PluginLibrary>(m_options.pluginPath);

    // Signals are taken by the main loop only: block them before any thread starts.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGHUP);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    const int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    if (signalFd < 0) throw std::runtime_error("signalfd failed");

    applyStoreConfig(m_config);
    startService();
    m_listenFd = listenUnixSocket(m_options.socketPath);
    m_messageThreads.start(m_options.messageThreads);
    m_managementThread.start(1);
    say("serving on " + m_options.socketPath + " with the store " + m_options.storePath);
    serve(signalFd);
    shutDown();
    ::close(signalFd);
    say("stopped");
    return 0;
}

void Daemon::Impl::loadConfiguration()
{
    m_config = m_options.configFile.empty() ? defaultHostConfig() : loadHostConfigFile(m_options.configFile);
}

void Daemon::Impl::applyStoreConfig(const HostConfig& config)
{
    m_store.mergeSerialized(config.storeItems.serialize());
    for (const auto& line : config.teamLines) m_team.setLine(line.line, line.type, line.destination);
    if (config.subPlatformVariant) HardwareVersion::setHWSubPlatformVariant(*config.subPlatformVariant);
}

void Daemon::Impl::startService()
{
    m_context.registerExecutable("LocalMgmtIfc", &m_store);
    m_context.registerExecutable("DataAccessServiceIfc", m_dataAccess.get());
    m_context.registerExecutable("MediaControlServiceIfc", &m_media);
    m_context.registerExecutable("TeamServiceIfc", &m_team);
    m_context.registerExecutable("ClockServiceIfc", &m_clock);
    m_context.start();

    // A stored plan survives restarts; the configuration's plan only fills an empty store.
    const bool planStored = m_database->hasDialPlan();
    m_service.reset(m_plugin->createService());
    if (!m_service) throw std::runtime_error("the plug-in created no service");
    m_service->init(m_context);
    m_invoker.reset(m_plugin->createInvoker());
    if (!m_invoker) throw std::runtime_error("the plug-in created no invoker");
    m_invoker->initInvoker(&m_context);
    m_agent = dynamic_cast<MgmtAgentIfc*>(m_service.get());
    if (m_agent == nullptr) throw std::runtime_error("the plug-in's service offers no management face");
    if (m_config.hasDialPlan && !planStored)
        say(std::string("configured dial plan written: ") + (writeDialPlan(m_config.dialPlan) ? "true" : "false"));
}

bool Daemon::Impl::writeDialPlan(ManageableData plan)
{
    StoreBatch batch(*m_database);
    return m_agent->setData(plan);
}

void Daemon::Impl::serve(int signalFd)
{
    while (true) {
        pollfd watched[2] = {{m_listenFd, POLLIN, 0}, {signalFd, POLLIN, 0}};
        if (poll(watched, 2, 1000) < 0) {
            if (errno == EINTR) continue;
            throw std::runtime_error("poll failed");
        }
        if (watched[1].revents & POLLIN) {
            signalfd_siginfo info{};
            if (read(signalFd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
                if (info.ssi_signo == SIGHUP) {
                    m_managementThread.post([this] { reloadConfiguration(); });
                } else {
                    say(info.ssi_signo == SIGTERM ? "SIGTERM: shutting down" : "SIGINT: shutting down");
                    return;
                }
            }
        }
        if (watched[0].revents & POLLIN) accept();
        reapConnections(false);
    }
}

void Daemon::Impl::accept()
{
    const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) return;
    auto connection = std::make_shared<Connection>(fd);
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || peer.uid != geteuid()) {
        connection->send(Frame{FrameKind::Error, 0, "refused: the client runs as another user"});
        say("refused a client of user id " + std::to_string(peer.uid));
        return;
    }
    // Replies must not block the service for long when a client stops reading.
    timeval sendLimit{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &sendLimit, sizeof sendLimit);
    std::lock_guard<std::mutex> lock(m_clientsMutex);
    m_connections.push_back(connection);
    connection->reader = std::thread([this, connection] { readConnection(connection); });
}

void Daemon::Impl::reapConnections(bool all)
{
    std::vector<ConnectionPtr> done;
    {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        for (auto it = m_connections.begin(); it != m_connections.end();) {
            if (all || (*it)->finished) {
                done.push_back(*it);
                it = m_connections.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (const auto& connection : done) {
        {
            std::lock_guard<std::mutex> lock(connection->queueMutex);
            connection->closing = true;
            connection->drained.notify_all();
        }
        connection->hangUp();
        if (connection->reader.joinable()) connection->reader.join();
    }
}

void Daemon::Impl::readConnection(const ConnectionPtr& connection)
{
    FrameDecoder decoder;
    Frame frame;
    char buffer[8192];
    bool open = true;
    while (open) {
        const ssize_t count = recv(connection->fd(), buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        decoder.feed(buffer, static_cast<std::size_t>(count));
        while (open && decoder.next(frame)) open = handleFrame(connection, frame);
        if (decoder.failed()) {
            connection->send(Frame{FrameKind::Error, 0, "protocol error: " + decoder.error()});
            break;
        }
    }
    connection->hangUp();
    if (!connection->name.empty()) {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        const auto it = m_channels.find(connection->name);
        if (it != m_channels.end()) it->second->detach(connection.get());
    }
    connection->finished = true;
}

// Handles one frame from a client; false ends the connection.
bool Daemon::Impl::handleFrame(const ConnectionPtr& connection, const Frame& frame)
{
    if (!connection->welcomed) {
        if (frame.kind == FrameKind::Hello) return welcome(connection, frame.text);
        connection->send(Frame{FrameKind::Error, 0, "protocol error: the first frame must be HELLO"});
        return false;
    }
    switch (frame.kind) {
    case FrameKind::Request: queueRequest(connection, frame); return true;
    case FrameKind::Answer: {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        const auto it = m_channels.find(connection->name);
        if (it != m_channels.end()) it->second->deliverAnswer(frame.id, frame.text);
        return true;
    }
    case FrameKind::Notify:
    case FrameKind::MgmtSet:
    case FrameKind::MgmtGet: manage(connection, frame); return true;
    default:
        connection->send(Frame{FrameKind::Error, 0,
                               std::string("protocol error: unexpected ") + frameKindName(frame.kind) + " frame"});
        return false;
    }
}

bool Daemon::Impl::welcome(const ConnectionPtr& connection, const std::string& name)
{
    const bool printable = std::all_of(name.begin(), name.end(), [](char c) {
        return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f;
    });
    if (name.size() > kMaxClientNameLength || !printable) {
        connection->send(Frame{FrameKind::Error, 0, "refused: a client name is at most 255 printable bytes"});
        return false;
    }
    if (!name.empty()) {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        ClientChannel* channel = channelFor(name);
        if (channel == nullptr) {
            connection->send(Frame{FrameKind::Error, 0, "refused: too many client names"});
            return false;
        }
        channel->attach(connection);
    }
    connection->name = name;
    connection->welcomed = true;
    return connection->send(Frame{FrameKind::Welcome, 0, std::string()});
}

// The channel of a client name, with its event proxy made on first use. The proxies live
// as long as the service, which may hold them as its dialler. Needs m_clientsMutex.
ClientChannel* Daemon::Impl::channelFor(const std::string& name)
{
    const auto found = m_channels.find(name);
    if (found != m_channels.end()) return found->second.get();
    if (m_channels.size() >= kMaxClientNames) return nullptr;
    Proxy* proxy = m_plugin->createEventProxy();
    if (proxy == nullptr) return nullptr;
    auto channel = std::make_unique<ClientChannel>(name, m_context, m_options.answerTimeoutMs);
    proxy->initProxy(*channel);
    m_context.registerProxy(kEventInterface, name, proxy);
    m_context.setChannelName(proxy, name);
    m_proxies[name].reset(proxy);
    return (m_channels[name] = std::move(channel)).get();
}

void Daemon::Impl::queueRequest(const ConnectionPtr& connection, const Frame& frame)
{
    std::unique_lock<std::mutex> lock(connection->queueMutex);
    connection->drained.wait(
        lock, [&] { return connection->requests.size() < kMaxQueuedRequests || connection->closing; });
    if (connection->closing) return;
    connection->requests.push_back(frame);
    if (connection->scheduled) return;
    connection->scheduled = true;
    m_messageThreads.post([this, connection] { runNextRequest(connection); });
}

// Runs one request of a connection on a message thread, then hands the connection on.
void Daemon::Impl::runNextRequest(const ConnectionPtr& connection)
{
    Frame frame;
    {
        std::lock_guard<std::mutex> lock(connection->queueMutex);
        frame = std::move(connection->requests.front());
        connection->requests.pop_front();
        connection->drained.notify_all();
    }
    SocketResponse response(connection, frame.id);
    m_invoker->handleMessage(m_service.get(), frame.text.data(), static_cast<int>(frame.text.size()), &response);
    if (response.completions != 1) {
        say("the request " + quoteText(frame.text) + " was completed " + std::to_string(response.completions) +
            " times instead of once");
        if (response.completions == 0) response.responseComplete();
    }
    std::lock_guard<std::mutex> lock(connection->queueMutex);
    if (connection->requests.empty()) {
        connection->scheduled = false;
        return;
    }
    m_messageThreads.post([this, connection] { runNextRequest(connection); });
}

void Daemon::Impl::manage(const ConnectionPtr& connection, const Frame& frame)
{
    m_managementThread.post([this, connection, frame] {
        connection->send(Frame{FrameKind::MgmtResult, frame.id, managementAnswer(frame)});
    });
}

std::string Daemon::Impl::managementAnswer(const Frame& frame)
{
    try {
        if (frame.kind == FrameKind::MgmtGet) {
            ManageableData data;
            for (const auto& root : rootNamesFromJson(frame.text)) data.addRootId(root);
            const bool ok = m_agent->getData(data);
            Json items = Json::array();
            for (const auto& [path, value] : data.items()) items.push_back(Json::array({path, value}));
            return jsonText(Json{{"ok", ok}, {"items", items}});
        }
        ManageableData data = rootItemsFromJson(frame.text);
        if (frame.kind == FrameKind::MgmtSet) return resultJson(writeDialPlan(data));
        m_store.mergeSerialized(data.serialize());
        m_agent->manageableDataChanged(data);
        return resultJson(true);
    } catch (const JsonTextError& error) {
        return errorJson("column " + std::to_string(error.column()) + ": " + error.what());
    } catch (const std::exception& error) {
        return errorJson(error.what());
    } catch (...) {
        // The management thread serves every client: whatever failed, this frame gets an
        // answer and the next one is served.
        return errorJson("the management request failed");
    }
}

// SIGHUP: the configuration file is read again and every item that changed is stored
// and notified; a changed dial plan is written through management.
void Daemon::Impl::reloadConfiguration()
{
    if (m_options.configFile.empty()) {
        say("SIGHUP: no configuration file to read again");
        return;
    }
    HostConfig fresh;
    try {
        fresh = loadHostConfigFile(m_options.configFile);
    } catch (const std::exception& error) {
        say(std::string("SIGHUP: configuration kept: ") + error.what());
        return;
    }
    std::vector<std::string> oldRoots;
    std::vector<std::string> newRoots;
    m_config.storeItems.getRootIds(oldRoots);
    fresh.storeItems.getRootIds(newRoots);

    ManageableData changed;
    bool canonicalChanged = false;
    for (const auto& root : newRoots) {
        if (rootText(m_config.storeItems, root) == rootText(fresh.storeItems, root)) continue;
        if (root == "canonicalDialSettings") {
            canonicalChanged = true;
            continue;
        }
        changed.getOrAddRoot(root) = *fresh.storeItems.getRoot(root);
    }
    for (const auto& root : oldRoots) {
        if (fresh.storeItems.getRoot(root) != nullptr) continue;
        m_store.removeItem(root);
        if (root != "canonicalDialSettings") changed.populate(root, root, "");
    }
    for (const auto& line : m_config.teamLines) m_team.setLine(line.line, 0, "??");
    applyStoreConfig(fresh);

    if (canonicalChanged) {
        // A complete replacement: the settings that are gone must not survive.
        m_store.removeItem("canonicalDialSettings");
        m_store.mergeSerialized(rootText(fresh.storeItems, "canonicalDialSettings"));
        ManageableData replacement;
        replacement.populate("new-canonical-settings", "new-canonical-settings", "");
        replacement.getOrAddRoot("canonicalDialSettings") = *fresh.storeItems.getRoot("canonicalDialSettings");
        m_agent->manageableDataChanged(replacement);
    }
    std::vector<std::string> changedRoots;
    changed.getRootIds(changedRoots);
    if (!changedRoots.empty()) m_agent->manageableDataChanged(changed);

    const bool planChanged = fresh.hasDialPlan && (!m_config.hasDialPlan || fresh.dialPlan.serialize() != m_config.dialPlan.serialize());
    if (planChanged) say(std::string("SIGHUP: dial plan written: ") + (writeDialPlan(fresh.dialPlan) ? "true" : "false"));
    say("SIGHUP: configuration read again, " + std::to_string(changedRoots.size() + (canonicalChanged ? 1 : 0)) +
        " item(s) changed");
    m_config = std::move(fresh);
}

void Daemon::Impl::shutDown()
{
    ::close(m_listenFd);
    ::unlink(m_options.socketPath.c_str());
    m_managementThread.stop();
    reapConnections(true);
    m_messageThreads.stop();
    m_context.stop();
    // The service borrows the proxies and the peers: it goes first.
    m_service.reset();
    m_invoker.reset();
    std::lock_guard<std::mutex> lock(m_clientsMutex);
    m_proxies.clear();
    m_channels.clear();
}
