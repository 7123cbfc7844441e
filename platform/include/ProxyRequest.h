#pragma once
// The request channel of a proxy: messages from the service to the client it stands for.

#include <string>

class FrameworkContext;

class ProxyRequest {
public:
    virtual ~ProxyRequest();
    virtual void setMessageFormat(const std::string& format) = 0;
    // One-way message.
    virtual void sendEvent(const std::string& message) = 0;
    // Message that waits for the peer's reply text.
    virtual void sendRequest(const std::string& request, std::string& reply) = 0;
    virtual FrameworkContext* getFrameworkContext() = 0;
};
