// Out-of-line members of the framework base classes (their key functions live here, so the
// classes' type information belongs to the platform library).

#include "ClockServiceIfc.h"
#include "DataAccessServiceIfc.h"
#include "Executable.h"
#include "FrameworkContext.h"
#include "InvokerResponse.h"
#include "ManageableData.h"
#include "MediaControlServiceIfc.h"
#include "MgmtAgentIfc.h"
#include "ProxyRequest.h"
#include "TeamServiceIfc.h"

Executable::~Executable() = default;
void Executable::timerEvent(int) {}

Threadable::~Threadable() = default;
int Threadable::getThreadPriorityForPlatform() { return 0; }
const char* Threadable::type() { return "Threadable"; }

Service::~Service() = default;
void Service::handleMsg(char const*, int, std::string, CommsChannelIfc&, CommsChannelDataContainerMessage*) {}
void Service::run() {}

Proxy::~Proxy() = default;
void Proxy::init(Context&) {}
void Proxy::shutdown() {}

Invoker::~Invoker() = default;

CommsChannelIfc::~CommsChannelIfc() = default;
CommsChannelDataContainerMessage::~CommsChannelDataContainerMessage() = default;

FrameworkContext::~FrameworkContext() = default;
Executable* FrameworkContext::findProxy(const std::string&, const std::string&) { return nullptr; }
std::string FrameworkContext::findChannel(Executable*) { return {}; }

DxlDictionary::~DxlDictionary() = default;
MgmtAgentIfc::~MgmtAgentIfc() = default;
DataAccessServiceIfc::~DataAccessServiceIfc() = default;
MediaControlServiceIfc::~MediaControlServiceIfc() = default;
TeamServiceIfc::~TeamServiceIfc() = default;
ClockServiceIfc::~ClockServiceIfc() = default;
InvokerResponse::~InvokerResponse() = default;
ProxyRequest::~ProxyRequest() = default;
