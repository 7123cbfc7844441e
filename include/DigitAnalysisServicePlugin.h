#pragma once
// What the plug-in exports to the framework, with C linkage.

#define DAS_EXPORT __attribute__((visibility("default")))

class Executable;
class Invoker;
class Proxy;

extern "C" {
// The one digit analysis service; the framework owns it.
DAS_EXPORT Executable* createDigitAnalysisService();
// A request dispatcher for the service; the framework owns it.
DAS_EXPORT Invoker* createDigitAnalysisServiceInvoker();
// An event proxy standing in for a dialler in another process; the framework owns it.
DAS_EXPORT Proxy* createDigitAnalysisServiceEventProxy();
}
