#pragma once
// The reply channel of one request message.

#include <string>

class InvokerResponse {
public:
    virtual ~InvokerResponse();
    // Sends exactly `length` bytes of `data` to the requesting client.
    virtual void sendResponse(const char* data, int length) = 0;
    // The request has been handled; the framework may release the response.
    virtual void responseComplete() = 0;
    // The name under which the requesting client is known; empty if unknown.
    virtual void getSenderName(std::string& name) = 0;
};
