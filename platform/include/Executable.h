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
    virtual void init(Context& context) = 0;
    virtual void shutdown() = 0;
    // Called once when a timer created for this executable expires. Does nothing by default.
    virtual void timerEvent(int timerId);
};

// Something the framework could give a thread of its own.
class Threadable {
public:
    virtual ~Threadable();
    virtual void run() = 0;
    virtual int getThreadPriorityForPlatform();
    virtual const char* type();
};

// A service the framework loads from a plug-in. Requests normally reach a service through
// its invoker; the raw message hook below is kept for services that want channel messages.
class Service : public Executable, public Threadable {
public:
    ~Service() override;
    virtual void handleMsg(char const* data, int length, std::string sender,
                           CommsChannelIfc& channel, CommsChannelDataContainerMessage* message);
    void run() override;
};

// Stands in, inside the service's process, for an interface offered by a client elsewhere.
class Proxy : public Executable {
public:
    ~Proxy() override;
    void init(Context& context) override;
    void shutdown() override;
    virtual void initProxy(ProxyRequest& request) = 0;
};

// Decodes request messages for a service and calls the service's interface.
class Invoker {
public:
    virtual ~Invoker();
    virtual void handleMessage(Executable* service, const char* data, int length,
                               InvokerResponse* response) = 0;
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
