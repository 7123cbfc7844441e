#pragma once
// Shared pieces of the fuzz targets: logging that formats every line but writes none, the
// input cut into lines, and a fully configured service (canonical settings, look-up table,
// emergency, lock-bypass and FAC numbers, hot and warm lines, a dial plan read from storage)
// on the in-process platform, driven by request texts as a client would.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DigitAnalysisServiceEventProxy.h"
#include "DigitAnalysisServiceInvoker.h"
#include "RecordingProxyRequest.h"
#include "ServiceHarness.h"

namespace fuzzing {

// Every log line is formatted (trace level on) and then dropped, so format strings and
// their arguments are exercised without the cost of writing them.
void formatLogsQuietly();

std::string toText(const std::uint8_t* data, std::size_t size);
// Lines without their "\n"; at most `maxLines` of them.
std::vector<std::string> splitLines(const std::string& text, std::size_t maxLines);

// Stops the target at once: libFuzzer reports the input as a crash.
[[noreturn]] void fail(const char* what, const std::string& detail);

// A configured service behind its invoker; the client "dialler" is reached through the
// real event proxy. Each request must be completed exactly once and answered at most once.
class ConfiguredService {
public:
    ConfiguredService();
    ~ConfiguredService();
    ConfiguredService(const ConfiguredService&) = delete;
    ConfiguredService& operator=(const ConfiguredService&) = delete;

    // Sends one request text as the named client; returns the number of replies.
    std::size_t request(const std::string& text, const std::string& client = "dialler");
    // Script lines: "@advance MS" moves the virtual clock, "@notify TEXT" stores a serialised
    // configuration change and notifies the service, "@set TEXT" writes serialised management
    // data through setData, "@anon REQUEST" sends a request from a client without a name;
    // anything else is a request.
    void scriptLine(const std::string& line);

    ServiceHarness harness;

private:
    // The client's event channel: requests are answered "1".
    RecordingProxyRequest m_channel;
    DigitAnalysisServiceEventProxy m_proxy;
    std::unique_ptr<Invoker> m_invoker;
};

}  // namespace fuzzing
