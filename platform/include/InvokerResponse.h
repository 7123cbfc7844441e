#pragma once
// The reply channel of one request message. The framework makes one per request and lends it
// to Invoker::handleMessage; it is used from the thread handling that request only, and
// must not be kept after responseComplete.

#include <string>

class InvokerResponse {
public:
    virtual ~InvokerResponse();
    // Sends exactly `length` bytes of `data` to the requesting client (a reply of length 0 is
    // a reply). The bytes are copied before it returns. At most one reply per request, and
    // none after responseComplete. A client that has gone away loses the reply silently.
    virtual void sendResponse(const char* data, int length) = 0;
    // The request has been handled; the framework may release the response. Called exactly
    // once per request, after any reply.
    virtual void responseComplete() = 0;
    // The name under which the requesting client is known; empty if unknown.
    virtual void getSenderName(std::string& name) = 0;
};
