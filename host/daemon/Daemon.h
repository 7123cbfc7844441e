#pragma once
// The daemon: runs the plug-in's service as a phone's framework would (requests on a
// pool of message threads, timer expiries from a timer thread, configuration changes
// and management on a management thread) and serves clients on a Unix domain socket.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Framing.h"
#include "PluginLibrary.h"

struct DaemonOptions {
    std::string configFile;  // empty: the built-in configuration
    std::string socketPath;
    std::string storePath;
    std::optional<int> logLevel;
    std::string pluginPath;
    // The plug-in linked into the program, used instead of loading pluginPath when set.
    const LinkedPlugin* linkedPlugin = nullptr;
    int messageThreads = 4;
    // How long a proxy request waits for the client's answer.
    int answerTimeoutMs = 2000;
};

// $XDG_STATE_HOME/digit-analysis/dasd.sqlite, else ~/.local/state/digit-analysis/dasd.sqlite.
std::string defaultStorePath();

// One client of a daemon started in process (Daemon::startInProcess): the client's byte
// stream is handed in, the frames the daemon sends are collected. The frame handling is the
// daemon's own, only the socket is missing. Use it from one thread.
class DaemonSession {
public:
    virtual ~DaemonSession() = default;
    // Decodes `bytes` as the next part of the client's stream and handles every whole frame,
    // as the connection's reader would. False once the daemon has ended the session (a
    // protocol error, a refused HELLO); later bytes are then ignored.
    virtual bool feed(const std::string& bytes) = 0;
    // Waits until every frame handled so far has been answered: the requests run, the
    // management frames done. False when that takes longer than `limitMs`.
    virtual bool waitUntilAnswered(int limitMs) = 0;
    // The frames handled so far, in order.
    virtual std::vector<Frame> handled() const = 0;
    // The frames the daemon has sent to this client so far, in order.
    virtual std::vector<Frame> sent() const = 0;
};

class Daemon {
public:
    explicit Daemon(DaemonOptions options);
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Starts everything and serves until SIGTERM or SIGINT; SIGHUP re-reads the
    // configuration file. Returns the exit status; throws for a fault at start-up (among
    // them SocketError: the socket's directory is one other users can tamper with, or a
    // daemon already listens there). Once serving, nothing a client does ends it: faults are
    // answered and logged per client, and its queues and log lines are bounded
    // (docs/host.md, docs/protocol.md).
    int run();

    // For tests and fuzzing: starts the service and the daemon's threads as run() does, but
    // neither listens on a socket nor takes signals. Throws for a fault at start-up.
    void startInProcess();
    // A new client session of a daemon started in process; the session must go before the
    // daemon does.
    std::unique_ptr<DaemonSession> openSession();
    // Stops a daemon started in process as SIGTERM stops a served one.
    void stopInProcess();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};
