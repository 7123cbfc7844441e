#include "FrameDispatch.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "ClientNames.h"
#include "DialPlanWriter.h"
#include "Executable.h"
#include "InvokerResponse.h"
#include "JsonText.h"
#include "ManageableData.h"
#include "MemoryConfigStore.h"
#include "MgmtAgentIfc.h"
#include "PluginHost.h"
#include "TextQuote.h"

namespace {

const char* const kBusyText = "busy: too many management messages are waiting; try again later";

// Whether a management path ("ROOT/..." or "ROOT") lies under one of `roots`.
bool underOneOf(const std::string& path, const std::vector<std::string>& roots)
{
    const std::string root = path.substr(0, path.find('/'));
    return std::find(roots.begin(), roots.end(), root) != roots.end();
}

// The reply channel of one request from a connection. The replies wait for the completion
// and go with it in one write: the client is woken once per request, not once per frame.
// Nothing reaches the connection between a reply and the completion (the invoker answers
// after the service has done its work), so holding the replies changes no order.
class ConnectionResponse : public InvokerResponse {
public:
    ConnectionResponse(ConnectionPtr connection, std::uint32_t id) : m_connection(std::move(connection)), m_id(id) {}
    void sendResponse(const char* data, int length) override
    {
        std::string text = data != nullptr && length > 0 ? std::string(data, static_cast<std::size_t>(length)) : "";
        Frame reply{FrameKind::Reply, m_id, std::move(text)};
        if (completions > 0) {
            m_connection->send(reply);  // a reply after the completion goes as it comes
            return;
        }
        m_frames.push_back(std::move(reply));
    }
    void responseComplete() override
    {
        if (completions++ != 0) return;
        m_frames.push_back(Frame{FrameKind::Complete, m_id, std::string()});
        m_connection->send(m_frames);
        m_frames.clear();
    }
    void getSenderName(std::string& name) override { name = m_connection->name; }
    int completions = 0;

private:
    ConnectionPtr m_connection;
    std::uint32_t m_id;
    std::vector<Frame> m_frames;
};

std::string resultJson(bool ok) { return jsonText(Json{{"ok", ok}}); }
std::string errorJson(const std::string& message) { return jsonText(Json{{"error", message}}); }

}  // namespace

void FrameDispatcher::start(int messageThreads)
{
    m_messageThreads.start(messageThreads);
    m_managementThread.start(1);
}

StoreOutcome FrameDispatcher::writeDialPlan(ManageableData plan)
{
    return DialPlanWriter(m_host.agent(), m_store).write(plan);
}

// Handles one frame from a client; false ends the connection. Uses nothing of the socket:
// replies go through the connection's sink.
bool FrameDispatcher::handleFrame(const ConnectionPtr& connection, const Frame& frame)
{
    if (!connection->welcomed) {
        if (frame.kind == FrameKind::Hello) return welcome(connection, frame.text);
        connection->send(Frame{FrameKind::Error, 0, "protocol error: the first frame must be HELLO"});
        return false;
    }
    switch (frame.kind) {
    case FrameKind::Request: queueRequest(connection, frame); return true;
    case FrameKind::Answer: m_names.deliverAnswer(*connection, frame.id, frame.text); return true;
    case FrameKind::Notify:
    case FrameKind::MgmtSet:
    case FrameKind::MgmtGet: manage(connection, frame); return true;
    default:
        connection->send(Frame{FrameKind::Error, 0,
                               std::string("protocol error: unexpected ") + frameKindName(frame.kind) + " frame"});
        return false;
    }
}

bool FrameDispatcher::welcome(const ConnectionPtr& connection, const std::string& name)
{
    const bool printable = std::all_of(name.begin(), name.end(), [](char c) {
        return static_cast<unsigned char>(c) >= 0x20 && c != 0x7f;
    });
    if (name.size() > ClientNames::kMaxNameLength || !printable) {
        connection->send(Frame{FrameKind::Error, 0, "refused: a client name is at most 255 printable bytes"});
        return false;
    }
    if (!name.empty()) {
        if (!m_names.take(connection, name)) {
            connection->send(Frame{FrameKind::Error, 0, "refused: too many client names"});
            return false;
        }
        connection->nameLease = std::make_unique<NameLease>([&names = m_names, name] { names.release(name); });
        connection->faults.rename("client " + quoteText(name));
    }
    connection->name = name;
    connection->welcomed = true;
    return connection->send(Frame{FrameKind::Welcome, 0, std::string()});
}

void FrameDispatcher::queueRequest(const ConnectionPtr& connection, const Frame& frame)
{
    HostLock lock(connection->queueMutex);
    while (!connection->closing && (connection->requests.size() >= kMaxQueuedRequests ||
                                    (!connection->requests.empty() &&
                                     connection->requestBytes + frame.text.size() > kMaxQueuedRequestBytes)))
        lock.wait(connection->drained);
    if (connection->closing) return;
    connection->requests.push_back(frame);
    connection->requestBytes += frame.text.size();
    if (connection->scheduled) return;
    connection->scheduled = true;
    m_messageThreads.post([this, connection] { runNextRequest(connection); });
}

// Runs one request of a connection on a message thread, then hands the connection on.
void FrameDispatcher::runNextRequest(const ConnectionPtr& connection)
{
    Frame frame;
    {
        HostLock lock(connection->queueMutex);
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
    HostLock lock(connection->queueMutex);
    if (connection->requests.empty()) {
        connection->scheduled = false;
        return;
    }
    m_messageThreads.post([this, connection] { runNextRequest(connection); });
}

// One request through the invoker: the boundary of one unit of a client's work. Whatever
// happens, the request is completed once, so the client does not wait for ever.
void FrameDispatcher::runRequest(const ConnectionPtr& connection, const Frame& frame)
{
    ConnectionResponse response(connection, frame.id);
    FaultLog::ofCurrentRequest() = &connection->faults;
    bool failed = false;
    std::string why;
    try {
        if (!connection->name.empty() && !connection->nameMarked) {
            // From now on the service may hold this name's proxy.
            m_names.markReachedService(connection->name);
            connection->nameMarked = true;
        }
        m_host.invoker().handleMessage(&m_host.service(), frame.text.data(), static_cast<int>(frame.text.size()), &response);
    } catch (const std::exception& error) {
        failed = true;
        why = whatOf(error);
    } catch (...) {
        failed = true;
    }
    FaultLog::ofCurrentRequest() = nullptr;
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
void FrameDispatcher::manage(const ConnectionPtr& connection, const Frame& frame)
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

std::string FrameDispatcher::managementAnswer(const Frame& frame)
{
    try {
        if (frame.kind == FrameKind::MgmtGet) {
            ManageableData data;
            const std::vector<std::string> roots = rootNamesFromJson(frame.text);
            for (const auto& root : roots) data.addRootId(root);
            const bool ok = m_host.agent().getData(data);
            // The service answers with every root it knows; the client asked for some.
            Json items = Json::array();
            for (const auto& [path, value] : data.items()) {
                if (underOneOf(path, roots)) items.push_back(Json::array({path, value}));
            }
            return jsonText(Json{{"ok", ok}, {"items", items}});
        }
        ManageableData data = rootItemsFromJson(frame.text);
        if (frame.kind == FrameKind::MgmtSet) {
            const StoreOutcome outcome = writeDialPlan(data);
            if (outcome.committed) return resultJson(true);
            return Json{{"ok", false}, {"reason", outcome.reason}}.dump();
        }
        m_host.configStore().mergeSerialized(data.serialize());
        m_host.agent().manageableDataChanged(data);
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

