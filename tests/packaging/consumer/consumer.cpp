// A minimal framework: loads the installed plug-in, finds its three factories and creates
// the service, its invoker and an event proxy, as a phone's framework does at start-up.
// The plug-in's path comes from the build (DAS_PLUGIN_FILE) or the first argument.

#include <dlfcn.h>

#include <cstdio>
#include <memory>

#include <DigitAnalysisServiceEventIfc.h>
#include <DigitAnalysisServiceIfc.h>
#include <DigitAnalysisServicePlugin.h>
#include <Executable.h>
#include <MgmtAgentIfc.h>

namespace {

template <typename Factory>
Factory factory(void* plugin, const char* name)
{
    return reinterpret_cast<Factory>(dlsym(plugin, name));
}

}  // namespace

int main(int argc, char** argv)
{
    const char* path = argc > 1 ? argv[1] : DAS_PLUGIN_FILE;
    void* plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        std::fprintf(stderr, "cannot load %s: %s\n", path, dlerror());
        return 1;
    }
    const auto createService = factory<decltype(&createDigitAnalysisService)>(plugin, "createDigitAnalysisService");
    const auto createInvoker = factory<decltype(&createDigitAnalysisServiceInvoker)>(plugin, "createDigitAnalysisServiceInvoker");
    const auto createProxy = factory<decltype(&createDigitAnalysisServiceEventProxy)>(plugin, "createDigitAnalysisServiceEventProxy");
    if (createService == nullptr || createInvoker == nullptr || createProxy == nullptr) {
        std::fprintf(stderr, "%s lacks a factory: %s\n", path, dlerror());
        return 1;
    }

    int status = 0;
    {
        std::unique_ptr<Executable> service(createService());
        std::unique_ptr<Invoker> invoker(createInvoker());
        std::unique_ptr<Proxy> proxy(createProxy());
        if (dynamic_cast<DigitAnalysisServiceIfc*>(service.get()) == nullptr ||
            dynamic_cast<MgmtAgentIfc*>(service.get()) == nullptr || invoker == nullptr ||
            dynamic_cast<DigitAnalysisServiceEventIfc*>(proxy.get()) == nullptr) {
            std::fprintf(stderr, "%s created objects without their interfaces\n", path);
            status = 1;
        }
    }
    if (status == 0) std::printf("created the digit analysis service, its invoker and an event proxy from %s\n", path);
    dlclose(plugin);
    return status;
}
