// The plug-in as the framework sees it: loadable, three factories, the logger texts, and
// nothing else of ours in its dynamic symbol table.

#include <dlfcn.h>

#include <array>
#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "DigitAnalysisServiceEventIfc.h"
#include "DigitAnalysisServiceIfc.h"
#include "Executable.h"
#include "MgmtAgentIfc.h"
#include "ProgramRun.h"

namespace {

struct PluginHandle {
    void* handle = dlopen(DAS_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    ~PluginHandle()
    {
        if (handle != nullptr) dlclose(handle);
    }
};

}  // namespace

TEST(PluginExports, LoadsAndFindsTheThreeFactories)
{
    PluginHandle plugin;
    ASSERT_NE(plugin.handle, nullptr) << dlerror();
    EXPECT_NE(dlsym(plugin.handle, "createDigitAnalysisService"), nullptr);
    EXPECT_NE(dlsym(plugin.handle, "createDigitAnalysisServiceInvoker"), nullptr);
    EXPECT_NE(dlsym(plugin.handle, "createDigitAnalysisServiceEventProxy"), nullptr);
    EXPECT_NE(dlsym(plugin.handle, "dialPlanLoggerTexts_FileNameMips"), nullptr);
}

TEST(PluginExports, FactoriesCreateObjectsWithTheirInterfaces)
{
    PluginHandle plugin;
    ASSERT_NE(plugin.handle, nullptr) << dlerror();
    using ServiceFactory = Executable* (*)();
    using InvokerFactory = Invoker* (*)();
    using ProxyFactory = Proxy* (*)();
    auto createService = reinterpret_cast<ServiceFactory>(dlsym(plugin.handle, "createDigitAnalysisService"));
    auto createInvoker = reinterpret_cast<InvokerFactory>(dlsym(plugin.handle, "createDigitAnalysisServiceInvoker"));
    auto createProxy = reinterpret_cast<ProxyFactory>(dlsym(plugin.handle, "createDigitAnalysisServiceEventProxy"));
    ASSERT_TRUE(createService && createInvoker && createProxy);

    std::unique_ptr<Executable> service(createService());
    EXPECT_NE(dynamic_cast<DigitAnalysisServiceIfc*>(service.get()), nullptr);
    EXPECT_NE(dynamic_cast<MgmtAgentIfc*>(service.get()), nullptr);
    std::unique_ptr<Invoker> invoker(createInvoker());
    EXPECT_NE(invoker, nullptr);
    std::unique_ptr<Proxy> proxy(createProxy());
    EXPECT_NE(dynamic_cast<DigitAnalysisServiceEventIfc*>(proxy.get()), nullptr);
}

TEST(PluginExports, DynamicSymbolTableHoldsOnlyTheFactoriesAndLoggerTexts)
{
    const std::string defined =
        runCommand(std::string("nm -D --defined-only '") + DAS_PLUGIN_PATH + "' | awk '{print $3}'").output;
    ASSERT_FALSE(defined.empty());
    std::set<std::string> unexpected;
    std::size_t start = 0;
    while (start < defined.size()) {
        const auto end = defined.find('\n', start);
        const std::string symbol = defined.substr(start, end - start);
        start = end == std::string::npos ? defined.size() : end + 1;
        if (symbol.empty()) continue;
        if (symbol == "createDigitAnalysisService" || symbol == "createDigitAnalysisServiceInvoker" ||
            symbol == "createDigitAnalysisServiceEventProxy" || symbol.rfind("dialPlanLoggerTexts_", 0) == 0) {
            continue;
        }
        unexpected.insert(symbol);
    }
    std::string list;
    for (const auto& symbol : unexpected) list += symbol + " ";
    EXPECT_TRUE(unexpected.empty()) << "unexpected exports: " << list;
}
