// The number conversions with arbitrary settings and numbers. The input's lines up to the
// first empty line are settings, the lines after it numbers:
//   "countryCode=49" (any canonical dial setting by its key), "lookUp=722>+4989722" (a row of
//   the local code table), any other "KEY=VALUE" a plain item ("server-type=7",
//   "diagnostic-call-prefix=999").
// Each number goes through the canonical, local dialable (with and without the diagnostic
// prefix step) and RingCentral conversions. A conversion that answers false must leave the
// number as it was.

#include <set>

#include "FuzzSupport.h"

namespace {

constexpr std::size_t kMaxLines = 64;

const std::set<std::string>& canonicalKeys()
{
    static const std::set<std::string> keys{
        "countryCode",          "nationalPrefix",     "areaCode",           "minLocalNumberLength",
        "localEnterpriseNode",  "localCallPrefix",    "internationalPrefix", "operatorCode",
        "emergencyNumber",      "extensionInitialDigits", "expectDialNumber", "dialInternalForm",
        "dialExternalForm",     "dialNeedsAccessCode", "dialNeedsIntGWcode"};
    return keys;
}

void applySetting(ServiceHarness& harness, const std::string& line, int& lookUpRows)
{
    const auto equals = line.find('=');
    if (equals == std::string::npos || equals == 0) return;
    const std::string key = line.substr(0, equals);
    const std::string value = line.substr(equals + 1);
    if (key == "lookUp") {
        const auto arrow = value.find('>');
        const std::string row = "lookUp[" + std::to_string(++lookUpRows) + "]/";
        harness.store.setItem("canonicalDialSettings", row + "localCode", value.substr(0, arrow));
        if (arrow != std::string::npos)
            harness.store.setItem("canonicalDialSettings", row + "internationalCode", value.substr(arrow + 1));
    } else if (canonicalKeys().count(key) != 0) {
        harness.setCanonicalSetting(key, value);
    } else {
        harness.store.setItem(key, value);
    }
}

template <typename Conversion>
void convert(const char* name, const std::string& number, Conversion conversion)
{
    std::string text = number;
    if (!conversion(text) && text != number) fuzzing::fail(name, number + "' became '" + text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzzing::formatLogsQuietly();
    ServiceHarness harness;
    const auto lines = fuzzing::splitLines(fuzzing::toText(data, size), kMaxLines);
    std::size_t next = 0;
    int lookUpRows = 0;
    for (; next < lines.size() && !lines[next].empty(); ++next) applySetting(harness, lines[next], lookUpRows);
    DigitAnalysisService& service = harness.start();

    for (++next; next < lines.size(); ++next) {
        const std::string& number = lines[next];
        convert("convertToCanonical", number, [&](std::string& text) { return service.convertToCanonical(text); });
        convert("convertCanonicalToLocalDialable", number,
                [&](std::string& text) { return service.convertCanonicalToLocalDialable(text); });
        convert("convertToDialableRingCentral", number,
                [&](std::string& text) { return service.convertToDialableRingCentral(text); });
        std::string local = number;
        std::string diagnostic;
        service.convertToLocalDialable(local, diagnostic);
        if (diagnostic != "true" && diagnostic != "false") fuzzing::fail("diagnostic flag", diagnostic);
    }
    return 0;
}
