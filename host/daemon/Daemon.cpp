#include "Daemon.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "ClientNames.h"
#include "DaemonLog.h"
#include "DigitAnalysisConfiguration.h"
#include "FrameDispatch.h"
#include "HostConfig.h"
#include "HostPeers.h"
#include "InProcessSession.h"
#include "Listener.h"
#include "Logging.h"
#include "ManageableData.h"
#include "MemoryConfigStore.h"
#include "MgmtAgentIfc.h"
#include "PluginHost.h"
#include "RealTimeContext.h"
#include "SqliteDataAccessService.h"
#include "TextQuote.h"

namespace {

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

// The daemon itself: starts the parts in order (configuration, store, plug-in host, client
// names, frame dispatch, listener), takes the signals, reloads the configuration on SIGHUP and
// shuts the parts down in the reverse order.
class Daemon::Impl {
public:
    explicit Impl(DaemonOptions options) : m_options(std::move(options)) {}

    int run();
    void startInProcess();
    std::unique_ptr<DaemonSession> openSession();
    void stopInProcess();

private:
    DaemonOptions m_options;
    HostConfig m_config;
    std::unique_ptr<SqliteDataAccessService> m_database;
    RealTimeContext m_context;
    SystemClock m_clock;
    std::unique_ptr<PluginHost> m_host;
    std::unique_ptr<ClientNames> m_names;
    std::unique_ptr<FrameDispatcher> m_dispatcher;
    std::unique_ptr<Listener> m_listener;
    std::atomic<bool> m_reloadPending{false};

    void prepare();
    void loadConfiguration();
    void startService();
    void serve(int signalFd);
    void shutDown();
    void reloadConfiguration();
    std::size_t applyChangedItems(const HostConfig& fresh);
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

    m_host->applyConfig(m_config);
    startService();
    m_listener->open(m_options.socketPath);
    m_dispatcher->start(m_options.messageThreads);
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
    m_host->applyConfig(m_config);
    startService();
    m_dispatcher->start(m_options.messageThreads);
}

void Daemon::Impl::stopInProcess() { shutDown(); }

// What comes before any thread: the log sink, the configuration, the store, the plug-in host
// and the parts that serve clients.
void Daemon::Impl::prepare()
{
    if (m_options.logLevel) platformlog::setThreshold(*m_options.logLevel);
    platformlog::setSink([](const LogRecord& record) {
        const std::string line = "log " + std::to_string(record.level) + " " + record.sourceFile + " " + quoteText(record.text);
        FaultLog* requestFaults = FaultLog::ofCurrentRequest();
        if (requestFaults != nullptr && record.level <= kFaultLogLevel) {
            requestFaults->report(line);
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
    m_names = std::make_unique<ClientNames>(*m_host, m_options.answerTimeoutMs);
    m_dispatcher = std::make_unique<FrameDispatcher>(*m_host, *m_names, *m_database);
    m_listener = std::make_unique<Listener>(*m_dispatcher, *m_names);
}

void Daemon::Impl::loadConfiguration()
{
    m_config = m_options.configFile.empty() ? defaultHostConfig() : loadHostConfigFile(m_options.configFile);
}

void Daemon::Impl::startService()
{
    m_context.start();

    // A stored plan survives restarts; the configuration's plan only fills an empty store.
    const bool planStored = m_database->hasDialPlan();
    m_host->startService();
    if (m_config.hasDialPlan && !planStored) {
        const StoreOutcome outcome = m_dispatcher->writeDialPlan(m_config.dialPlan);
        say(outcome.committed ? std::string("configured dial plan written: true")
                              : "configured dial plan not written: " + outcome.reason);
    }
}

void Daemon::Impl::serve(int signalFd)
{
    while (true) {
        int timeoutMs = 1000;
        const bool listening = m_listener->listening(timeoutMs);
        pollfd watched[2] = {{signalFd, POLLIN, 0}, {m_listener->fd(), POLLIN, 0}};
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
                        m_dispatcher->postManagement([this] {
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
        m_listener->serve(listening && (watched[1].revents & POLLIN));
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
        const StoreOutcome outcome = m_dispatcher->writeDialPlan(fresh.dialPlan);
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
        if (root == das_keys::kCanonicalDialSettings) {
            canonicalChanged = true;
            continue;
        }
        changed.getOrAddRoot(root) = *fresh.storeItems.getRoot(root);
    }
    for (const auto& root : oldRoots) {
        if (fresh.storeItems.getRoot(root) != nullptr) continue;
        m_host->configStore().removeItem(root);
        if (root != das_keys::kCanonicalDialSettings) changed.populate(root, root, "");
    }
    for (const auto& line : m_config.teamLines) m_host->team().setLine(line.line, 0, "??");
    m_host->applyConfig(fresh);

    if (canonicalChanged) {
        // A complete replacement: the settings that are gone must not survive.
        m_host->configStore().removeItem(das_keys::kCanonicalDialSettings);
        m_host->configStore().mergeSerialized(rootText(fresh.storeItems, das_keys::kCanonicalDialSettings));
        ManageableData replacement;
        replacement.populate(das_keys::kNewCanonicalSettings, das_keys::kNewCanonicalSettings, "");
        replacement.getOrAddRoot(das_keys::kCanonicalDialSettings) = *fresh.storeItems.getRoot(das_keys::kCanonicalDialSettings);
        m_host->agent().manageableDataChanged(replacement);
    }
    std::vector<std::string> changedRoots;
    changed.getRootIds(changedRoots);
    if (!changedRoots.empty()) m_host->agent().manageableDataChanged(changed);
    return changedRoots.size() + (canonicalChanged ? 1 : 0);
}

std::unique_ptr<DaemonSession> Daemon::Impl::openSession()
{
    return openInProcessSession(*m_dispatcher, *m_names, m_listener->nextConnectionNumber());
}

void Daemon::Impl::shutDown()
{
    m_listener->close(m_options.socketPath);
    m_dispatcher->stopManagement();
    m_listener->reap(true);
    m_dispatcher->stopMessages();
    m_context.stop();
    // The service borrows the proxies and the peers: it goes first.
    m_host->stopService();
    m_names->clear();
}
