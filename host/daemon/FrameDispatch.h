#pragma once
// What the daemon does with each frame a client sends, whatever carries it (a socket's reader
// thread or a session fed in process): HELLO names the connection, REQUEST frames go to the
// message threads (one at a time per connection, in order), ANSWER frames to the proxy request
// waiting for them, management frames to the one management thread. Every unit of a client's
// work is a boundary: a fault is answered and logged for that client, and the daemon goes on.

#include <atomic>
#include <cstddef>
#include <functional>

#include "Connection.h"
#include "Framing.h"
#include "DialPlanStore.h"
#include "WorkQueue.h"

class ClientNames;
class ManageableData;
class PluginHost;

class FrameDispatcher {
public:
    // Requests of one connection that may wait for a message thread, by number and by size;
    // beyond either its reader waits, so a client that floods the daemon is slowed, not
    // served out of memory. One request is always let in, however large.
    static constexpr std::size_t kMaxQueuedRequests = 1024;
    static constexpr std::size_t kMaxQueuedRequestBytes = std::size_t{4} * 1024 * 1024;
    // Management frames waiting for the management thread: per connection and in all. Past
    // either the frame is answered "busy" at once.
    static constexpr std::size_t kMaxWaitingManagementPerClient = 8;
    static constexpr std::size_t kMaxWaitingManagement = 64;

    // Borrows all three; they must outlive the dispatcher.
    FrameDispatcher(PluginHost& host, ClientNames& names, DialPlanStore& store)
        : m_host(host), m_names(names), m_store(store)
    {
    }

    // Starts the message threads and the management thread.
    void start(int messageThreads);
    // Handles one frame from a client; false ends the connection. Uses nothing of the socket:
    // replies go through the connection's sink. Called by the connection's reader only.
    bool handleFrame(const ConnectionPtr& connection, const Frame& frame);
    // Runs `job` on the management thread, after the management frames already waiting.
    void postManagement(std::function<void()> job) { m_managementThread.post(std::move(job)); }
    // All or nothing: the plan is stored and in force, or the old one stays stored and in
    // force. On the management thread only.
    StoreOutcome writeDialPlan(ManageableData plan);

    // Finishes the management job under way and drops the others; then stopMessages does the
    // same for the requests.
    void stopManagement() { m_managementThread.stop(); }
    void stopMessages() { m_messageThreads.stop(); }

private:
    PluginHost& m_host;
    ClientNames& m_names;
    DialPlanStore& m_store;
    WorkQueue m_messageThreads{"message threads"};
    WorkQueue m_managementThread{"management thread"};
    std::atomic<std::size_t> m_managementWaiting{0};

    bool welcome(const ConnectionPtr& connection, const std::string& name);
    void queueRequest(const ConnectionPtr& connection, const Frame& frame);
    void runNextRequest(const ConnectionPtr& connection);
    void runRequest(const ConnectionPtr& connection, const Frame& frame);
    void manage(const ConnectionPtr& connection, const Frame& frame);
    std::string managementAnswer(const Frame& frame);
};
