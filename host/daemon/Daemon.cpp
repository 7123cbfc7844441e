#include "Daemon.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>
#include <vector>

#include "DialPlanWriter.h"
#include "Executable.h"
#include "Framing.h"
#include "HostConfig.h"
#include "HostPeers.h"
#include "InvokerResponse.h"
#include "Logging.h"
#include "MemoryConfigStore.h"
#include "MgmtAgentIfc.h"
#include "PluginHost.h"
#include "ProxyRequest.h"
#include "RealTimeContext.h"
#include "RecordingPeers.h"
#include "SocketActivation.h"
#include "SqliteDataAccessService.h"
#include "TextQuote.h"
#include "UnixSocket.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

// Client names with an event proxy at one time. A name whose connections have all gone keeps
// its proxy (a client that comes back under it gets its events) until its slot is needed
// for a new name.
const std::size_t kMaxClientNames = 1024;
// Proxies of recycled names that the service may still hold (as its dialler or call context
// provider): kept, silent, until the service goes. Past this many, only names that never
// reached the service are recycled.
const std::size_t kMaxRetiredProxies = 4096;
const std::size_t kMaxClientNameLength = 255;
// Requests of one connection that may wait for a message thread, by number and by size;
// beyond either its reader waits, so a client that floods the daemon is slowed, not served
// out of memory. One request is always let in, however large.
const std::size_t kMaxQueuedRequests = 1024;
const std::size_t kMaxQueuedRequestBytes = std::size_t{4} * 1024 * 1024;
// Management frames waiting for the management thread: per connection and in all. Past
// either the frame is answered "busy" at once.
const std::size_t kMaxWaitingManagementPerClient = 8;
const std::size_t kMaxWaitingManagement = 64;
const char* const kBusyText = "busy: too many management messages are waiting; try again later";
// How long the listener rests after accept failed for want of a descriptor or memory.
const auto kAcceptPause = std::chrono::milliseconds(250);
// Fault lines one client may cause per window; the rest are counted and summed up.
const std::size_t kFaultLinesPerWindow = 10;
const auto kFaultWindow = std::chrono::seconds(10);
// A fault line longer than this (a request quoted in it) is cut.
const std::size_t kMaxFaultLineLength = 1024;
// The service's log lines of this level or more severe that a client's request causes
// count as that client's fault lines.
const int kFaultLogLevel = 3;

std::mutex g_outputMutex;

void say(const std::string& text)
{
    std::lock_guard<std::mutex> lock(g_outputMutex);
    std::cerr << "dasd: " << text << std::endl;
}

std::string describe(const std::exception& error) { return quoteText(error.what()); }

// What an exception says, or nothing when even that copy fails (out of memory): for
// boundaries, which must not throw themselves.
std::string whatOf(const std::exception& error) noexcept
{
    try {
        return error.what();
    } catch (...) {
        return std::string();
    }
}

// A client's text as a fault line shows it: quoted, and only its start when it is long, so
// that a line costs little however large the text (and memory, when it is short).
std::string excerpt(const std::string& text)
{
    const std::size_t shown = 200;
    if (text.size() <= shown) return quoteText(text);
    return quoteText(text.substr(0, shown)) + "... (" + std::to_string(text.size()) + " bytes)";
}

// The fault lines one client causes (frames dropped, answers missing, requests the service
// logs as faulty, refusals): the first kFaultLinesPerWindow of each window of kFaultWindow are
// written, cut to kMaxFaultLineLength; the others are only counted and summed up in one line
// when the next window starts or the client is gone. So a faulty client cannot make the log
// grow with its traffic. Any thread.
class FaultLog {
public:
    explicit FaultLog(std::string who) : m_who(std::move(who)) {}
    ~FaultLog() { flush(); }
    FaultLog(const FaultLog&) = delete;
    FaultLog& operator=(const FaultLog&) = delete;

    // Who the summary line names ("client \"NAME\"").
    void rename(std::string who)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_who = std::move(who);
    }

    void report(const std::string& line)
    {
        std::string summary;
        bool write = false;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto now = SteadyClock::now();
            if (!m_started || now - m_windowStart >= kFaultWindow) {
                summary = takeSummary();
                m_written = 0;
                m_windowStart = now;
                m_started = true;
            }
            write = m_written < kFaultLinesPerWindow;
            if (write) {
                ++m_written;
            } else {
                ++m_suppressed;
            }
        }
        if (!summary.empty()) say(summary);
        if (!write) return;
        if (line.size() <= kMaxFaultLineLength) {
            say(line);
        } else {
            say(line.substr(0, kMaxFaultLineLength) + "... (" + std::to_string(line.size()) + " bytes, cut)");
        }
    }

    // Writes the summary of the lines suppressed so far, if any.
    void flush()
    {
        std::string summary;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            summary = takeSummary();
        }
        if (!summary.empty()) say(summary);
    }

private:
    std::mutex m_mutex;
    std::string m_who;
    std::size_t m_written = 0;
    std::size_t m_suppressed = 0;
    SteadyClock::time_point m_windowStart{};
    bool m_started = false;

    std::string takeSummary()
    {
        if (m_suppressed == 0) return std::string();
        std::string summary =
            m_who + ": " + std::to_string(m_suppressed) + " more fault line" + (m_suppressed == 1 ? "" : "s") + " suppressed";
        m_suppressed = 0;
        return summary;
    }
};

// The fault log of the client whose request this message thread is running, if any: the
// service's own fault lines during that request are that client's.
thread_local FaultLog* t_requestFaults = nullptr;

// Where a connection's frames go: its socket, or anything else that takes whole encoded
// frames (to drive the frame handling in process, without a socket).
class FrameSink {
public:
    virtual ~FrameSink() = default;
    // Writes one encoded frame whole; false when the peer is gone. Called under the
    // connection's write lock, so frames never interleave.
    virtual bool write(const std::string& bytes) = 0;
    // Ends the connection both ways; a reader blocked on it wakes up.
    virtual void hangUp() = 0;
};

class SocketSink : public FrameSink {
public:
    explicit SocketSink(int fd) : m_fd(fd) {}
    ~SocketSink() override { ::close(m_fd); }
    SocketSink(const SocketSink&) = delete;
    SocketSink& operator=(const SocketSink&) = delete;
    bool write(const std::string& bytes) override { return writeAll(m_fd, bytes); }
    void hangUp() override { ::shutdown(m_fd, SHUT_RDWR); }

private:
    int m_fd;
};

// Runs `release` when destroyed: a connection's hold on its client name.
class NameLease {
public:
    explicit NameLease(std::function<void()> release) : m_release(std::move(release)) {}
    ~NameLease() { m_release(); }
    NameLease(const NameLease&) = delete;
    NameLease& operator=(const NameLease&) = delete;

private:
    std::function<void()> m_release;
};

// One client connection: where its frames go, its name, and the requests waiting for a
// message thread (handled one at a time, in order).
class Connection {
public:
    // `readFd`: the socket the reader thread reads, -1 when frames are handed in directly.
    Connection(std::unique_ptr<FrameSink> sink, int readFd, std::uint64_t number)
        : faults("client #" + std::to_string(number)), m_sink(std::move(sink)), m_readFd(readFd)
    {
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int readFd() const { return m_readFd; }

    // Sends one frame. A frame too long for the protocol (a reply that echoes a request of
    // nearly the maximum size) is not sent: the client would have to end the connection.
    // It is logged and dropped, so the request still completes, without that reply.
    bool send(const Frame& frame)
    {
        const std::size_t length = encodedFrameLength(frame);
        if (length > kMaxFrameLength) {
            faults.report(std::string(frameKindName(frame.kind)) + " frame for client \"" + name + "\" dropped: length " +
                          std::to_string(length) + " exceeds the limit of " + std::to_string(kMaxFrameLength));
            return false;
        }
        std::lock_guard<std::mutex> lock(m_writeMutex);
        if (m_broken) return false;
        if (!m_sink->write(encodeFrame(frame))) {
            m_broken = true;
            m_sink->hangUp();
            return false;
        }
        return true;
    }

    void hangUp() { m_sink->hangUp(); }

    FaultLog faults;
    std::string name;
    bool welcomed = false;
    std::unique_ptr<NameLease> nameLease;
    // Whether the service has been told this connection's name may reach it (message threads).
    bool nameMarked = false;
    std::thread reader;
    std::atomic<bool> finished{false};
    // Management frames of this connection waiting for the management thread.
    std::atomic<std::size_t> managementWaiting{0};

    // The strand: requests of this connection, and whether a message thread has it.
    std::mutex queueMutex;
    std::condition_variable drained;
    std::deque<Frame> requests;
    std::size_t requestBytes = 0;
    bool scheduled = false;
    bool closing = false;

private:
    std::unique_ptr<FrameSink> m_sink;
    int m_readFd;
    std::mutex m_writeMutex;
    bool m_broken = false;
};

using ConnectionPtr = std::shared_ptr<Connection>;

// The request channel of one client name's event proxy: events go to every connection
// of that name; a request goes to them too and waits for the first answer.
class ClientChannel : public ProxyRequest {
public:
    ClientChannel(std::string name, FrameworkContext& context, int answerTimeoutMs)
        : m_name(std::move(name)), m_context(context), m_answerTimeoutMs(answerTimeoutMs),
          m_faults("client " + quoteText(m_name))
    {
    }

    void attach(const ConnectionPtr& connection)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_connections.emplace_back(connection.get(), connection);
    }

    // Takes no hold of any connection: the last hold of one must never be let go under this
    // channel's lock or the daemon's client lock (its end takes the client lock).
    void detach(const Connection* connection)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(),
                                           [&](const Attached& held) {
                                               return held.first == connection || held.second.expired();
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
        const bool answered = m_answers[id].first;
        if (answered) reply = m_answers[id].second;
        m_answers.erase(id);
        lock.unlock();
        if (!answered)
            m_faults.report("no answer from client \"" + m_name + "\" to " + excerpt(request) + "; taking an empty answer");
    }

    FrameworkContext* getFrameworkContext() override { return &m_context; }

private:
    std::string m_name;
    FrameworkContext& m_context;
    int m_answerTimeoutMs;
    FaultLog m_faults;
    std::string m_format;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    using Attached = std::pair<const Connection*, std::weak_ptr<Connection>>;
    std::vector<Attached> m_connections;
    std::map<std::uint32_t, std::pair<bool, std::string>> m_answers;
    std::uint32_t m_nextId = 1;

    // The caller lets the holds go outside m_mutex.
    std::vector<ConnectionPtr> liveConnections()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<ConnectionPtr> live;
        for (const auto& held : m_connections) {
            if (auto connection = held.second.lock()) live.push_back(std::move(connection));
        }
        return live;
    }
};

// A client name's event proxy and its channel, and who holds the name.
struct NameSlot {
    std::unique_ptr<ClientChannel> channel;
    std::unique_ptr<Executable> proxy;
    // Connections (alive, requests included) that named themselves so.
    std::size_t connections = 0;
    // A request of the name reached the service: the service may hold the proxy.
    bool reachedService = false;
    // When the last connection went, for recycling the longest unused name first.
    std::uint64_t lastUsed = 0;
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

// A fixed set of threads running jobs from one queue, in order of arrival. Each job is a
// unit of work with its own boundary; whatever still escapes one is logged here, and the
// thread goes on with the next job.
class WorkQueue {
public:
    explicit WorkQueue(std::string name) : m_name(std::move(name)) {}

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
        std::deque<std::function<void()>> dropped;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stopping = true;
            dropped.swap(m_jobs);
            m_changed.notify_all();
        }
        dropped.clear();
        for (auto& thread : m_threads) thread.join();
        m_threads.clear();
    }

private:
    std::string m_name;
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
            try {
                job();
            } catch (const std::exception& error) {
                say("a job of the " + m_name + " failed: " + describe(error));
            } catch (...) {
                say("a job of the " + m_name + " failed");
            }
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
    void startInProcess();
    std::unique_ptr<DaemonSession> openSession();
    void stopInProcess();

private:
    friend class InProcessSession;

    DaemonOptions m_options;
    HostConfig m_config;
    std::unique_ptr<SqliteDataAccessService> m_database;
    RealTimeContext m_context;
    SystemClock m_clock;
    std::unique_ptr<PluginHost> m_host;

    std::mutex m_clientsMutex;
    std::map<std::string, NameSlot> m_names;
    // Proxies (with their channels) of recycled names the service may still hold.
    std::vector<NameSlot> m_retired;
    std::uint64_t m_nameClock = 0;
    std::vector<ConnectionPtr> m_connections;
    std::uint64_t m_connectionCount = 0;

    WorkQueue m_messageThreads{"message threads"};
    WorkQueue m_managementThread{"management thread"};
    std::atomic<std::size_t> m_managementWaiting{0};
    std::atomic<bool> m_reloadPending{false};
    int m_listenFd = -1;

    // Accept failures for want of descriptors or memory: one episode is logged once; the
    // listener rests until m_acceptResumeAt.
    bool m_acceptPaused = false;
    std::size_t m_acceptFailures = 0;
    SteadyClock::time_point m_acceptResumeAt{};
    // Faults of clients that never got a connection of their own (refused at accept).
    FaultLog m_listenerFaults{"the listener"};

    void prepare();
    void startWorkers();
    void loadConfiguration();
    void applyStoreConfig(const HostConfig& config);
    void startService();
    StoreOutcome writeDialPlan(ManageableData plan);
    void serve(int signalFd);
    void accept();
    void acceptFailed(int error);
    void shutDown();

    void readConnection(const ConnectionPtr& connection);
    void readFrames(const ConnectionPtr& connection);
    bool handleFrame(const ConnectionPtr& connection, const Frame& frame);
    bool welcome(const ConnectionPtr& connection, const std::string& name);
    ClientChannel* channelFor(const std::string& name);
    bool recycleIdleName();
    void releaseName(const std::string& name);
    void queueRequest(const ConnectionPtr& connection, const Frame& frame);
    void runNextRequest(const ConnectionPtr& connection);
    void runRequest(const ConnectionPtr& connection, const Frame& frame);
    void manage(const ConnectionPtr& connection, const Frame& frame);
    std::string managementAnswer(const Frame& frame);
    void reloadConfiguration();
    std::size_t applyChangedItems(const HostConfig& fresh);
    void reapConnections(bool all);
};

Daemon::Daemon(DaemonOptions options) : m_impl(std::make_unique<Impl>(std::move(options))) {}
Daemon::~Daemon() = default;
int Daemon::run() { return m_impl->run(); }
void Daemon::startInProcess() { m_impl->startInProcess(); }
std::unique_ptr<DaemonSession> Daemon::openSession() { return m_impl->openSession(); }
void Daemon::stopInProcess() { m_impl->stopInProcess(); }

int Daemon::Impl::run()
{
    prepare();
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
    m_listenFd = adoptOrListenUnixSocket(m_options.socketPath);
    startWorkers();
    say("serving on " + m_options.socketPath + " with the store " + m_options.storePath);
    serve(signalFd);
    shutDown();
    ::close(signalFd);
    say("stopped");
    return 0;
}

void Daemon::Impl::startInProcess()
{
    prepare();
    applyStoreConfig(m_config);
    startService();
    startWorkers();
}

void Daemon::Impl::stopInProcess() { shutDown(); }

// What comes before any thread: the log sink, the configuration, the store and the plug-in.
void Daemon::Impl::prepare()
{
    if (m_options.logLevel) platformlog::setThreshold(*m_options.logLevel);
    platformlog::setSink([](const LogRecord& record) {
        const std::string line = "log " + std::to_string(record.level) + " " + record.sourceFile + " " + quoteText(record.text);
        if (t_requestFaults != nullptr && record.level <= kFaultLogLevel) {
            t_requestFaults->report(line);
        } else {
            say(line);
        }
    });
    loadConfiguration();
    if (m_options.storePath != ":memory:")
        std::filesystem::create_directories(std::filesystem::path(m_options.storePath).parent_path());
    m_database = std::make_unique<SqliteDataAccessService>(m_options.storePath);
    auto plugin = m_options.linkedPlugin != nullptr ? std::make_unique<PluginLibrary>(*m_options.linkedPlugin)
                                                    : std::make_unique<PluginLibrary>(m_options.pluginPath);
    m_host = std::make_unique<PluginHost>(
        std::move(plugin),
        PluginHostParts{m_context, *m_database, m_clock, nullptr, [](const std::string& line) { say("tone " + line); }});
}

void Daemon::Impl::startWorkers()
{
    m_messageThreads.start(m_options.messageThreads);
    m_managementThread.start(1);
}

void Daemon::Impl::loadConfiguration()
{
    m_config = m_options.configFile.empty() ? defaultHostConfig() : loadHostConfigFile(m_options.configFile);
}

void Daemon::Impl::applyStoreConfig(const HostConfig& config) { m_host->applyConfig(config); }

void Daemon::Impl::startService()
{
    m_context.start();

    // A stored plan survives restarts; the configuration's plan only fills an empty store.
    const bool planStored = m_database->hasDialPlan();
    m_host->startService();
    if (m_config.hasDialPlan && !planStored) {
        const StoreOutcome outcome = writeDialPlan(m_config.dialPlan);
        say(outcome.committed ? std::string("configured dial plan written: true")
                              : "configured dial plan not written: " + outcome.reason);
    }
}

// All or nothing: the plan is stored and in force, or the old one stays stored and in force.
StoreOutcome Daemon::Impl::writeDialPlan(ManageableData plan)
{
    return DialPlanWriter(m_host->agent(), *m_database).write(plan);
}

void Daemon::Impl::serve(int signalFd)
{
    while (true) {
        // While accepting rests, only the signals are watched, until the rest is over.
        int timeoutMs = 1000;
        const bool listening = !m_acceptPaused || SteadyClock::now() >= m_acceptResumeAt;
        if (!listening) {
            const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(m_acceptResumeAt - SteadyClock::now());
            timeoutMs = static_cast<int>(std::max<long long>(1, rest.count() + 1));
        }
        pollfd watched[2] = {{signalFd, POLLIN, 0}, {m_listenFd, POLLIN, 0}};
        if (poll(watched, listening ? 2 : 1, timeoutMs) < 0) {
            if (errno == EINTR) continue;
            throw std::runtime_error("poll failed");
        }
        if (watched[0].revents & POLLIN) {
            signalfd_siginfo info{};
            if (read(signalFd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
                if (info.ssi_signo == SIGHUP) {
                    // Signals that come while a reload waits are served by that reload.
                    if (!m_reloadPending.exchange(true)) {
                        m_managementThread.post([this] {
                            m_reloadPending = false;
                            reloadConfiguration();
                        });
                    }
                } else {
                    say(info.ssi_signo == SIGTERM ? "SIGTERM: shutting down" : "SIGINT: shutting down");
                    return;
                }
            }
        }
        // The listener's boundary: a fault while taking one client must not stop the others.
        try {
            if (listening && (watched[1].revents & POLLIN)) accept();
            reapConnections(false);
        } catch (const std::exception& error) {
            m_listenerFaults.report("a fault while taking a client: " + describe(error));
        }
    }
}

void Daemon::Impl::accept()
{
    const int fd = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
        acceptFailed(errno);
        return;
    }
    if (m_acceptPaused) {
        say("accepting connections again, after " + std::to_string(m_acceptFailures) + " failed attempt" +
            (m_acceptFailures == 1 ? "" : "s"));
        m_acceptPaused = false;
    }
    auto connection = std::make_shared<Connection>(std::make_unique<SocketSink>(fd), fd, ++m_connectionCount);
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || peer.uid != geteuid()) {
        connection->send(Frame{FrameKind::Error, 0, "refused: the client runs as another user"});
        m_listenerFaults.report("refused a client of user id " + std::to_string(peer.uid));
        return;
    }
    // Replies must not block the service for long when a client stops reading.
    timeval sendLimit{5, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &sendLimit, sizeof sendLimit);
    {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        m_connections.push_back(connection);
    }
    try {
        connection->reader = std::thread([this, connection] { readConnection(connection); });
    } catch (const std::system_error& error) {
        // No thread, no client: refuse this one and go on serving the others.
        {
            std::lock_guard<std::mutex> lock(m_clientsMutex);
            m_connections.erase(std::remove(m_connections.begin(), m_connections.end(), connection), m_connections.end());
        }
        connection->send(Frame{FrameKind::Error, 0, "refused: the daemon cannot take another client now"});
        m_listenerFaults.report("refused a client: cannot start its reader thread: " + describe(error));
    }
}

// accept() failed with `error`. Out of descriptors or memory, the pending connection stays
// pending and the listening socket stays readable: retrying at once would spin. The listener
// rests for kAcceptPause and tries again, until connections have closed; each such episode
// is logged once, when it starts and when it ends.
void Daemon::Impl::acceptFailed(int error)
{
    if (error == EINTR || error == EAGAIN || error == EWOULDBLOCK || error == ECONNABORTED) return;
    ++m_acceptFailures;
    m_acceptResumeAt = SteadyClock::now() + kAcceptPause;
    if (m_acceptPaused) return;
    m_acceptPaused = true;
    m_acceptFailures = 1;
    say("cannot accept connections: " + std::generic_category().message(error) + "; trying again every " +
        std::to_string(kAcceptPause.count()) + " ms");
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

// A connection's reader thread: the boundary of everything one client's frames cause on it.
// A fault ends this connection with an ERROR frame; the daemon and its other clients go on.
void Daemon::Impl::readConnection(const ConnectionPtr& connection)
{
    bool failed = false;
    std::string why;
    try {
        readFrames(connection);
    } catch (const std::exception& error) {
        failed = true;
        why = whatOf(error);
    } catch (...) {
        failed = true;
    }
    if (failed) {
        try {
            connection->faults.report("connection ended by a fault in the daemon" +
                                      (why.empty() ? std::string() : ": " + quoteText(why)));
            connection->send(Frame{FrameKind::Error, 0, "internal error: the daemon could not go on with this connection"});
        } catch (...) {
            // Not even that could be done (no memory): the connection ends all the same.
        }
    }
    connection->hangUp();
    if (!connection->name.empty()) {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        const auto it = m_names.find(connection->name);
        if (it != m_names.end()) it->second.channel->detach(connection.get());
    }
    connection->finished = true;
}

void Daemon::Impl::readFrames(const ConnectionPtr& connection)
{
    FrameDecoder decoder;
    Frame frame;
    char buffer[8192];
    bool open = true;
    while (open) {
        const ssize_t count = recv(connection->readFd(), buffer, sizeof buffer, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        decoder.feed(buffer, static_cast<std::size_t>(count));
        while (open && decoder.next(frame)) open = handleFrame(connection, frame);
        if (decoder.failed()) {
            connection->send(Frame{FrameKind::Error, 0, "protocol error: " + decoder.error()});
            break;
        }
    }
}

// Handles one frame from a client; false ends the connection. Uses nothing of the socket:
// replies go through the connection's sink.
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
        const auto it = m_names.find(connection->name);
        if (it != m_names.end()) it->second.channel->deliverAnswer(frame.id, frame.text);
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
        ++m_names[name].connections;
        connection->nameLease = std::make_unique<NameLease>([this, name] { releaseName(name); });
        channel->attach(connection);
        connection->faults.rename("client " + quoteText(name));
    }
    connection->name = name;
    connection->welcomed = true;
    return connection->send(Frame{FrameKind::Welcome, 0, std::string()});
}

// The channel of a client name, with its event proxy made on first use; when all slots are
// taken, the name unused longest is recycled first. Null when every name is in use.
// Needs m_clientsMutex.
ClientChannel* Daemon::Impl::channelFor(const std::string& name)
{
    const auto found = m_names.find(name);
    if (found != m_names.end()) return found->second.channel.get();
    if (m_names.size() >= kMaxClientNames && !recycleIdleName()) return nullptr;
    auto channel = std::make_unique<ClientChannel>(name, m_context, m_options.answerTimeoutMs);
    std::unique_ptr<Executable> proxy = m_host->openEventProxy(name, *channel);
    if (!proxy) return nullptr;
    NameSlot& slot = m_names[name];
    slot.proxy = std::move(proxy);
    slot.channel = std::move(channel);
    return slot.channel.get();
}

// Frees the slot of the name unused longest among those with no connection. A proxy that
// never reached the service is destroyed; one that did may be held by the service as its
// dialler or call context provider, so it is kept (silent: no connection will have it
// again) until the service goes. False when no name can be recycled. Needs m_clientsMutex.
bool Daemon::Impl::recycleIdleName()
{
    auto chosen = m_names.end();
    for (auto it = m_names.begin(); it != m_names.end(); ++it) {
        const NameSlot& slot = it->second;
        if (slot.connections != 0 || (slot.reachedService && m_retired.size() >= kMaxRetiredProxies)) continue;
        // Names that never reached the service go first: recycling them keeps nothing.
        const auto rank = [](const NameSlot& s) { return std::make_pair(s.reachedService, s.lastUsed); };
        if (chosen == m_names.end() || rank(slot) < rank(chosen->second)) chosen = it;
    }
    if (chosen == m_names.end()) return false;
    m_host->withdrawEventProxy(chosen->first);
    NameSlot slot = std::move(chosen->second);
    m_names.erase(chosen);
    if (slot.reachedService) {
        m_retired.push_back(std::move(slot));
    } else {
        m_context.setChannelName(slot.proxy.get(), std::string());
        slot.proxy.reset();
        slot.channel.reset();
    }
    return true;
}

// The last hold of a connection on `name` went with the connection (and its requests).
void Daemon::Impl::releaseName(const std::string& name)
{
    std::lock_guard<std::mutex> lock(m_clientsMutex);
    const auto it = m_names.find(name);
    if (it == m_names.end() || it->second.connections == 0) return;
    --it->second.connections;
    it->second.lastUsed = ++m_nameClock;
}

void Daemon::Impl::queueRequest(const ConnectionPtr& connection, const Frame& frame)
{
    std::unique_lock<std::mutex> lock(connection->queueMutex);
    connection->drained.wait(lock, [&] {
        const bool full = connection->requests.size() >= kMaxQueuedRequests ||
                          (!connection->requests.empty() &&
                           connection->requestBytes + frame.text.size() > kMaxQueuedRequestBytes);
        return !full || connection->closing;
    });
    if (connection->closing) return;
    connection->requests.push_back(frame);
    connection->requestBytes += frame.text.size();
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
        connection->requestBytes -= std::min(connection->requestBytes, frame.text.size());
        connection->drained.notify_all();
    }
    try {
        runRequest(connection, frame);
    } catch (...) {
        // Even reporting failed (no memory): the connection's other requests still go on.
    }
    std::lock_guard<std::mutex> lock(connection->queueMutex);
    if (connection->requests.empty()) {
        connection->scheduled = false;
        return;
    }
    m_messageThreads.post([this, connection] { runNextRequest(connection); });
}

// One request through the invoker: the boundary of one unit of a client's work. Whatever
// happens, the request is completed once, so the client does not wait for ever.
void Daemon::Impl::runRequest(const ConnectionPtr& connection, const Frame& frame)
{
    SocketResponse response(connection, frame.id);
    t_requestFaults = &connection->faults;
    bool failed = false;
    std::string why;
    try {
        if (!connection->name.empty() && !connection->nameMarked) {
            // From now on the service may hold this name's proxy.
            std::lock_guard<std::mutex> lock(m_clientsMutex);
            const auto it = m_names.find(connection->name);
            if (it != m_names.end()) it->second.reachedService = true;
            connection->nameMarked = true;
        }
        m_host->invoker().handleMessage(&m_host->service(), frame.text.data(), static_cast<int>(frame.text.size()), &response);
    } catch (const std::exception& error) {
        failed = true;
        why = whatOf(error);
    } catch (...) {
        failed = true;
    }
    t_requestFaults = nullptr;
    // The client's answer first: reporting may fail too when memory is short.
    const int completions = response.completions;
    if (completions == 0) response.responseComplete();
    if (failed) {
        connection->faults.report("the request " + excerpt(frame.text) + " failed" +
                                  (why.empty() ? std::string() : ": " + quoteText(why)));
    } else if (completions != 1) {
        connection->faults.report("the request " + excerpt(frame.text) + " was completed " +
                                  std::to_string(completions) + " times instead of once");
    }
}

// A management frame waits for the management thread, unless too many already do: then it
// is answered "busy" at once, so a client that floods the daemon with them cannot make it
// hold more than kMaxWaitingManagement frames.
void Daemon::Impl::manage(const ConnectionPtr& connection, const Frame& frame)
{
    const bool clientFull = connection->managementWaiting >= kMaxWaitingManagementPerClient;
    const bool allFull = !clientFull && m_managementWaiting.fetch_add(1) >= kMaxWaitingManagement;
    if (clientFull || allFull) {
        if (allFull) --m_managementWaiting;
        connection->faults.report(std::string(frameKindName(frame.kind)) + " frame of client " +
                                  quoteText(connection->name) + " answered busy");
        connection->send(Frame{FrameKind::MgmtResult, frame.id, errorJson(kBusyText)});
        return;
    }
    ++connection->managementWaiting;
    m_managementThread.post([this, connection, frame] {
        struct Waiting {
            std::atomic<std::size_t>& all;
            std::atomic<std::size_t>& client;
            ~Waiting()
            {
                --all;
                --client;
            }
        } waiting{m_managementWaiting, connection->managementWaiting};
        std::string answer;
        bool failed = false;
        std::string why;
        try {
            answer = managementAnswer(frame);
        } catch (const std::exception& error) {
            failed = true;
            why = whatOf(error);
        } catch (...) {
            failed = true;
        }
        if (failed) answer = errorJson("internal error: the management message could not be handled");
        connection->send(Frame{FrameKind::MgmtResult, frame.id, answer});
        if (failed) {
            connection->faults.report(std::string(frameKindName(frame.kind)) + " frame failed" +
                                      (why.empty() ? std::string() : ": " + quoteText(why)));
        }
    });
}

std::string Daemon::Impl::managementAnswer(const Frame& frame)
{
    try {
        if (frame.kind == FrameKind::MgmtGet) {
            ManageableData data;
            for (const auto& root : rootNamesFromJson(frame.text)) data.addRootId(root);
            const bool ok = m_host->agent().getData(data);
            Json items = Json::array();
            for (const auto& [path, value] : data.items()) items.push_back(Json::array({path, value}));
            return jsonText(Json{{"ok", ok}, {"items", items}});
        }
        ManageableData data = rootItemsFromJson(frame.text);
        if (frame.kind == FrameKind::MgmtSet) {
            const StoreOutcome outcome = writeDialPlan(data);
            if (outcome.committed) return resultJson(true);
            return Json{{"ok", false}, {"reason", outcome.reason}}.dump();
        }
        m_host->configStore().mergeSerialized(data.serialize());
        m_host->agent().manageableDataChanged(data);
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

// SIGHUP: the configuration file is read again as one change, all or nothing. A changed dial
// plan is written first, through management; if it is refused or not stored, the whole old
// configuration stays in force. Then every item that changed is stored and notified.
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
    const bool planChanged =
        fresh.hasDialPlan && (!m_config.hasDialPlan || fresh.dialPlan.serialize() != m_config.dialPlan.serialize());
    if (planChanged) {
        const StoreOutcome outcome = writeDialPlan(fresh.dialPlan);
        if (!outcome.committed) {
            say("SIGHUP: configuration kept: the dial plan was not written: " + outcome.reason);
            return;
        }
        say("SIGHUP: dial plan written: true");
    }
    const std::size_t changedItems = applyChangedItems(fresh);
    say("SIGHUP: configuration read again, " + std::to_string(changedItems) + " item(s) changed");
    m_config = std::move(fresh);
}

// Stores and notifies every item of `fresh` that differs from the configuration in force;
// returns how many changed.
std::size_t Daemon::Impl::applyChangedItems(const HostConfig& fresh)
{
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
        m_host->configStore().removeItem(root);
        if (root != "canonicalDialSettings") changed.populate(root, root, "");
    }
    for (const auto& line : m_config.teamLines) m_host->team().setLine(line.line, 0, "??");
    applyStoreConfig(fresh);

    if (canonicalChanged) {
        // A complete replacement: the settings that are gone must not survive.
        m_host->configStore().removeItem("canonicalDialSettings");
        m_host->configStore().mergeSerialized(rootText(fresh.storeItems, "canonicalDialSettings"));
        ManageableData replacement;
        replacement.populate("new-canonical-settings", "new-canonical-settings", "");
        replacement.getOrAddRoot("canonicalDialSettings") = *fresh.storeItems.getRoot("canonicalDialSettings");
        m_host->agent().manageableDataChanged(replacement);
    }
    std::vector<std::string> changedRoots;
    changed.getRootIds(changedRoots);
    if (!changedRoots.empty()) m_host->agent().manageableDataChanged(changed);
    return changedRoots.size() + (canonicalChanged ? 1 : 0);
}

// Collects the frames sent to an in-process session.
class CollectingSink : public FrameSink {
public:
    bool write(const std::string& bytes) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_hungUp) return false;
        m_bytes += bytes;
        return true;
    }
    void hangUp() override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_hungUp = true;
    }
    std::vector<Frame> frames() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        FrameDecoder decoder;
        decoder.feed(m_bytes.data(), m_bytes.size());
        std::vector<Frame> result;
        Frame frame;
        while (decoder.next(frame)) result.push_back(frame);
        return result;
    }

private:
    mutable std::mutex m_mutex;
    std::string m_bytes;
    bool m_hungUp = false;
};

// A connection without a socket: the feeding thread plays the connection's reader.
class InProcessSession : public DaemonSession {
public:
    InProcessSession(Daemon::Impl& daemon, std::uint64_t number) : m_daemon(daemon)
    {
        auto sink = std::make_unique<CollectingSink>();
        m_sink = sink.get();
        m_connection = std::make_shared<Connection>(std::move(sink), -1, number);
    }

    ~InProcessSession() override
    {
        static_cast<void>(waitUntilAnswered(10000));
        {
            std::lock_guard<std::mutex> lock(m_connection->queueMutex);
            m_connection->closing = true;
            m_connection->drained.notify_all();
        }
        m_connection->hangUp();
        if (!m_connection->name.empty()) {
            std::lock_guard<std::mutex> lock(m_daemon.m_clientsMutex);
            const auto it = m_daemon.m_names.find(m_connection->name);
            if (it != m_daemon.m_names.end()) it->second.channel->detach(m_connection.get());
        }
        m_connection->finished = true;
    }
    InProcessSession(const InProcessSession&) = delete;
    InProcessSession& operator=(const InProcessSession&) = delete;

    bool feed(const std::string& bytes) override
    {
        if (!m_open) return false;
        m_decoder.feed(bytes.data(), bytes.size());
        Frame frame;
        while (m_open && m_decoder.next(frame)) {
            m_handled.push_back(frame);
            m_open = m_daemon.handleFrame(m_connection, frame);
        }
        if (m_open && m_decoder.failed()) {
            m_connection->send(Frame{FrameKind::Error, 0, "protocol error: " + m_decoder.error()});
            m_open = false;
        }
        return m_open;
    }

    bool waitUntilAnswered(int limitMs) override
    {
        const auto deadline = SteadyClock::now() + std::chrono::milliseconds(limitMs);
        while (true) {
            {
                std::lock_guard<std::mutex> lock(m_connection->queueMutex);
                if (m_connection->requests.empty() && !m_connection->scheduled &&
                    m_connection->managementWaiting == 0)
                    return true;
            }
            if (SteadyClock::now() >= deadline) return false;
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

    std::vector<Frame> handled() const override { return m_handled; }
    std::vector<Frame> sent() const override { return m_sink->frames(); }

private:
    Daemon::Impl& m_daemon;
    ConnectionPtr m_connection;
    CollectingSink* m_sink = nullptr;
    FrameDecoder m_decoder;
    std::vector<Frame> m_handled;
    bool m_open = true;
};

std::unique_ptr<DaemonSession> Daemon::Impl::openSession()
{
    std::uint64_t number = 0;
    {
        std::lock_guard<std::mutex> lock(m_clientsMutex);
        number = ++m_connectionCount;
    }
    return std::make_unique<InProcessSession>(*this, number);
}

void Daemon::Impl::shutDown()
{
    closeListeningSocket(m_listenFd, m_options.socketPath);
    m_managementThread.stop();
    reapConnections(true);
    m_messageThreads.stop();
    m_context.stop();
    // The service borrows the proxies and the peers: it goes first.
    if (m_host) m_host->stopService();
    std::lock_guard<std::mutex> lock(m_clientsMutex);
    for (auto& [name, slot] : m_names) slot.proxy.reset();
    for (auto& slot : m_retired) slot.proxy.reset();
    m_names.clear();
    m_retired.clear();
}
