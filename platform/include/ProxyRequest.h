#pragma once
// The request channel of a proxy: messages from the service to the client it stands for. The
// framework makes one per proxy and lends it through Proxy::initProxy; it outlives the proxy.
// Any thread; the service sends with its service lock held, so the channel must not call the
// service back. A message to a client that has gone away is lost silently: a channel
// reports no errors.

#include <string>

class FrameworkContext;

class ProxyRequest {
public:
    virtual ~ProxyRequest();
    // How the messages are encoded on the channel; the event proxy asks for "DIG_AS_TEXT",
    // once, in initProxy.
    virtual void setMessageFormat(const std::string& format) = 0;
    // A one-way message; returns once the message is on its way. The text is copied.
    virtual void sendEvent(const std::string& message) = 0;
    // A message that waits for the peer's reply text, which replaces `reply`; blocks the
    // calling thread (and so the service) until the reply arrives or the channel gives up.
    virtual void sendRequest(const std::string& request, std::string& reply) = 0;
    // The context of the framework the channel belongs to (borrowed; never null).
    virtual FrameworkContext* getFrameworkContext() = 0;
};
