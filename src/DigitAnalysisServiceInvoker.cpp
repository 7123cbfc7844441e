#define DAS_LOG_SOURCE "src/DigitAnalysisServiceInvoker"

#include "DigitAnalysisServiceInvoker.h"

#include "DigitAnalysisServicePlugin.h"
#include "ServiceLog.h"

extern "C" Invoker* createDigitAnalysisServiceInvoker()
{
    return new DigitAnalysisServiceInvoker();
}

DigitAnalysisServiceInvoker::~DigitAnalysisServiceInvoker() = default;

void DigitAnalysisServiceInvoker::initInvoker(FrameworkContext* context) { m_context = context; }

void DigitAnalysisServiceInvoker::handleMessage(Executable* service, const char* data, int length,
                                                InvokerResponse* response)
{
    (void)service;
    (void)data;
    (void)length;
    (void)response;
}

DigitAnalysisServiceEventIfc* DigitAnalysisServiceInvoker::getCallbackInterface(InvokerResponse* response)
{
    (void)response;
    return nullptr;
}

void handleErrorRequest(const std::string& request, InvokerResponse* response)
{
    (void)request;
    (void)response;
}
