#pragma once
// The daemon: runs the plug-in's service as a phone's framework would (requests on a
// pool of message threads, timer expiries from a timer thread, configuration changes
// and management on a management thread) and serves clients on a Unix domain socket.

#include <memory>
#include <optional>
#include <string>

struct DaemonOptions {
    std::string configFile;  // empty: the built-in configuration
    std::string socketPath;
    std::string storePath;
    std::optional<int> logLevel;
    std::string pluginPath;
    int messageThreads = 4;
    // How long a proxy request waits for the client's answer.
    int answerTimeoutMs = 2000;
};

// $XDG_STATE_HOME/digit-analysis/dasd.sqlite, else ~/.local/state/digit-analysis/dasd.sqlite.
std::string defaultStorePath();

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

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};
