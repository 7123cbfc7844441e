#pragma once
// Decodes the clients' text requests, calls the digit analysis service and sends the
// reply texts back.

#include <string>

#include "Executable.h"

class DigitAnalysisServiceEventIfc;
class FrameworkContext;
class InvokerResponse;

class DigitAnalysisServiceInvoker : public Invoker {
public:
    ~DigitAnalysisServiceInvoker() override;
    void handleMessage(Executable* service, const char* data, int length, InvokerResponse* response) override;
    void initInvoker(FrameworkContext* context) override;

    // The requesting client's callback interface, or null.
    DigitAnalysisServiceEventIfc* getCallbackInterface(InvokerResponse* response);

private:
    FrameworkContext* m_context = nullptr;
};

// Reports a malformed request: logs it and answers "errorresponse".
void handleErrorRequest(const std::string& request, InvokerResponse* response);
