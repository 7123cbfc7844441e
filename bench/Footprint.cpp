// The service's heap after init with a 50-entry dial plan stored by an earlier run, counted
// by the replaced global operator new: what init adds to the process, what the service
// itself holds (freed when it is destroyed), and the sizes of its objects.

#include <chrono>
#include <cstdio>
#include <filesystem>

#include "BenchLogging.h"
#include "CountingAllocator.h"
#include "DialPlan.h"
#include "DialPlans.h"
#include "DigitAnalysisServiceTestAccess.h"
#include "ServiceHarness.h"

int main()
{
    benchlog::use(benchlog::kOff);
    ServiceHarness harness;
    harness.setGermanCanonicalSettings();

    // A first run stores the plan with the data access service, as a phone's configuration
    // change would; the measured run reads it back during init.
    ManageableData plan = benchplans::configuration(benchplans::officePlan());
    if (!DigitAnalysisServiceTestAccess::getDialPlan(harness.start())->setData(plan)) {
        std::fprintf(stderr, "the office plan was refused\n");
        return 1;
    }
    harness.destroy();
    harness.das.clearRequests();

    const heapcount::Snapshot beforeInit = heapcount::now();
    const auto started = std::chrono::steady_clock::now();
    DigitAnalysisService& service = harness.start();
    const auto initTime = std::chrono::steady_clock::now() - started;
    const heapcount::Snapshot afterInit = heapcount::now();
    const DialPlan* loaded = DigitAnalysisServiceTestAccess::getDialPlan(service);
    if (loaded == nullptr || loaded->getNumberOfEntries() != 50 || !loaded->getEnabled()) {
        std::fprintf(stderr, "init did not load the 50-entry plan\n");
        return 1;
    }
    std::error_code noSize;
    const auto logFileSize = std::filesystem::file_size(harness.logFilePath(), noSize);
    harness.destroy();
    const heapcount::Snapshot afterDestroy = heapcount::now();

    std::printf("dial plan entries loaded:          %d\n", 50);
    std::printf("sizeof(DigitAnalysisService):      %zu bytes\n", sizeof(DigitAnalysisService));
    std::printf("sizeof(DialPlan):                  %zu bytes\n", sizeof(DialPlan));
    std::printf("sizeof(t_dialPlanEntry):           %zu bytes\n", sizeof(t_dialPlanEntry));
    std::printf("time for create + init:            %.3f ms (in-process peers)\n",
                std::chrono::duration<double, std::milli>(initTime).count());
    std::printf("allocations during create + init:  %zu\n", afterInit.allocations - beforeInit.allocations);
    std::printf("heap growth across create + init:  %zu bytes (service and what the in-process peers keep)\n",
                afterInit.liveBytes - beforeInit.liveBytes);
    std::printf("heap held by the service:          %zu bytes (freed when it is destroyed)\n",
                afterInit.liveBytes - afterDestroy.liveBytes);
    std::printf("dial plan log file written:        %llu bytes (its entry part stays in memory to rewrite the file)\n",
                noSize ? 0ULL : static_cast<unsigned long long>(logFileSize));
    return 0;
}
