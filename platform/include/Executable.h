#pragma once
// Framework base classes: what the framework runs, looks up by interface name and
// delivers timer expiries to.

#include <string>

class Context;
class FrameworkContext;
class ProxyRequest;
class InvokerResponse;
class CommsChannelIfc;
class CommsChannelDataContainerMessage;

// Anything the framework can start, stop and send timer expiries to.
class Executable {
public:
    virtual ~Executable();
    // The framework's start call, once, before any other thread reaches the executable.
    // `context` outlives the executable: keep the reference for peer look-up and timers.
    virtual void init(Context& context) = 0;
    // The framework's stop call, before the executable is deleted; nothing more arrives after.
    virtual void shutdown() = 0;
    // Called once when a timer created for this executable expires, on the framework's timer
    // thread, with no framework lock held; an expiry may still arrive for a timer just stopped
    // or re-created, so check the id. Does nothing by default.
    virtual void timerEvent(int timerId);
};

// Something the framework could give a thread of its own.
class Threadable {
public:
    virtual ~Threadable();
    // The thread's body, when the framework gives the object a thread.
    virtual void run() = 0;
    // The priority the framework gives that thread; the framework's default by default.
    virtual int getThreadPriorityForPlatform();
    // A name for the thread in diagnostics; static storage.
    virtual const char* type();
};

// A service the framework loads from a plug-in. Requests normally reach a service through
// its invoker; the raw message hook below is kept for services that want channel messages.
class Service : public Executable, public Threadable {
public:
    ~Service() override;
    // A raw channel message; does nothing by default. The framework's message thread calls it;
    // the arguments are lent for the call.
    virtual void handleMsg(char const* data, int length, std::string sender,
                           CommsChannelIfc& channel, CommsChannelDataContainerMessage* message);
    // Returns at once: a service has no thread loop of its own.
    void run() override;
};

// Stands in, inside the service's process, for an interface offered by a client elsewhere.
class Proxy : public Executable {
public:
    ~Proxy() override;
    // Do nothing by default: a proxy has no start-up of its own.
    void init(Context& context) override;
    void shutdown() override;
    // Gives the proxy its request channel, once, before the first call on the proxy. The
    // channel is borrowed and must outlive the proxy.
    virtual void initProxy(ProxyRequest& request) = 0;
};

// Decodes request messages for a service and calls the service's interface.
class Invoker {
public:
    virtual ~Invoker();
    // Handles one request message: exactly `length` bytes at `data` (no terminator relied
    // on), for `service`, the executable the invoker was made for. Replies through `response`
    // and completes it exactly once; a request with a reply needs a response object, one
    // without may pass null. Any framework thread, several at once; the invoker takes no lock
    // of its own (the service serialises itself). The arguments are lent for the call. A
    // malformed request is answered with an error reply, never an exception.
    virtual void handleMessage(Executable* service, const char* data, int length,
                               InvokerResponse* response) = 0;
    // Gives the invoker its context (borrowed; it outlives the invoker), once, before the
    // first message.
    virtual void initInvoker(FrameworkContext* context) = 0;
};

// Opaque framework message types named by Service::handleMsg.
class CommsChannelIfc {
public:
    virtual ~CommsChannelIfc();
};
class CommsChannelDataContainerMessage {
public:
    virtual ~CommsChannelDataContainerMessage();
};
