#include "FuzzSupport.h"

#include <cstdio>
#include <cstdlib>

#include "DigitAnalysisServicePlugin.h"
#include "Logging.h"
#include "ManageableData.h"
#include "RecordingInvokerResponse.h"

namespace fuzzing {

namespace {

// A dial plan as the data access service keeps it: an emergency number, a check entry, a
// variable-length entry with a terminator, a lock-bypass range and fixed-length entries.
std::string storedEntry(const std::string& digits, const std::string& action, unsigned minimum, unsigned maximum,
                        unsigned timer, const std::string& terminator, const std::string& special,
                        bool terminatorSent)
{
    auto field = [](const std::string& name, const std::string& value) {
        return "<" + name + ">" + value + "</" + name + ">";
    };
    return "<Entry>" + field("DigitString", digits) + field("Action", action) +
           field("MinimumDigitLength", std::to_string(minimum)) + field("MaximumDigitLength", std::to_string(maximum)) +
           field("Timer", std::to_string(timer)) + field("Terminator", terminator) + field("SpecialNumber", special) +
           field("Comment", "fuzz") + field("TerminatorSent", terminatorSent ? "true" : "false") + "</Entry>";
}

const char* const kDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

void configure(ServiceHarness& harness)
{
    harness.setGermanCanonicalSettings();
    harness.setCanonicalSetting("localEnterpriseNode", "722");
    harness.setCanonicalSetting("operatorCode", "0,010");
    harness.setCanonicalSetting("emergencyNumber", "112,110");
    harness.setCanonicalSetting("extensionInitialDigits", "2,3");
    harness.setCanonicalSetting("dialNeedsAccessCode", "1");
    harness.store.setItem("canonicalDialSettings", "lookUp[1]/localCode", "722");
    harness.store.setItem("canonicalDialSettings", "lookUp[1]/internationalCode", "+4989722");
    harness.store.setItem("canonicalDialSettings", "lookUp[2]/localCode", "5");
    harness.store.setItem("canonicalDialSettings", "lookUp[2]/internationalCode", "+49895");
    harness.store.setItem("software-type", "Valtrek SIP");
    harness.store.setItem("emergency-e164", "+4989112");
    harness.store.setItem("initial-digit-timer", "10");
    harness.store.setItem("autodialtimer", "4");
    harness.store.setItem("fac-prefix-numbers", "*72,#31,*9");
    harness.store.setItem("diagnostic-call-prefix", "999");
    harness.store.setItem("dial-plan-enabled", "true");
    harness.team.setLine("hot", 1, "5551234");
    harness.team.setLine("warm", 2, "0891234");
    harness.team.setLine("hotnone", 3, "??");
    harness.team.setLine("warmstrong", 4, "112");

    harness.das.setReadResponse("DialPlanOverview",
                                std::string(kDeclaration) +
                                    "<Schema name=\"DialPlanOverview\"><DialPlanEnabled>true</DialPlanEnabled>"
                                    "<DialPlanId>FUZZ1</DialPlanId><DialPlanError>false</DialPlanError>"
                                    "<DialPlanErrorRow>0</DialPlanErrorRow></Schema>");
    harness.das.setReadResponse("DialPlanEntries", std::string(kDeclaration) + "<Schema name=\"DialPlanEntries\">" +
                                                       storedEntry("112", "S", 3, 3, 0, "", "E", false) +
                                                       storedEntry("110", "C", 3, 3, 1, "", "", false) +
                                                       storedEntry("0", "S", 4, 24, 3, "#", "", false) +
                                                       storedEntry("1xx", "S", 3, 3, 0, "", "b", false) +
                                                       storedEntry("*xx", "S", 3, 3, 0, "", "", false) +
                                                       storedEntry("9", "S", 8, 8, 0, "#", "", true) + "</Schema>");
}

}  // namespace

void formatLogsQuietly()
{
    static const bool done = [] {
        platformlog::setThreshold(5);
        platformlog::setSink([](const LogRecord&) {});
        return true;
    }();
    (void)done;
}

std::string toText(const std::uint8_t* data, std::size_t size)
{
    return size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(data), size);
}

std::vector<std::string> splitLines(const std::string& text, std::size_t maxLines)
{
    std::vector<std::string> lines;
    std::string::size_type start = 0;
    while (start <= text.size() && lines.size() < maxLines) {
        const auto end = text.find('\n', start);
        if (end == std::string::npos) {
            if (start < text.size()) lines.push_back(text.substr(start));
            break;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

void fail(const char* what, const std::string& detail)
{
    std::fprintf(stderr, "fuzz check failed: %s: '%s'\n", what, detail.c_str());
    std::abort();
}

ConfiguredService::ConfiguredService()
    : m_channel(harness.context), m_invoker(createDigitAnalysisServiceInvoker())
{
    formatLogsQuietly();
    configure(harness);
    m_channel.nextReply = "1";
    m_proxy.initProxy(m_channel);
    harness.context.registerProxy("DigitAnalysisServiceEventIfc", "dialler", &m_proxy);
    harness.context.registerProxy("DigitAnalysisServiceEventIfc", "provider", &harness.provider);
    m_invoker->initInvoker(&harness.context);
    harness.start();
}

ConfiguredService::~ConfiguredService()
{
    // The service borrows the proxies: it goes first.
    harness.destroy();
}

std::size_t ConfiguredService::request(const std::string& text, const std::string& client)
{
    RecordingInvokerResponse response(client);
    m_invoker->handleMessage(&harness.service(), text.data(), static_cast<int>(text.size()), &response);
    for (const int length : response.lengths) {
        if (length < 0) fail("negative reply length", std::to_string(length));
    }
    if (response.repliedAfterCompletion()) fail("reply after completion", text);
    if (response.completions != 1) fail("request not completed exactly once", text);
    if (response.replies.size() > 1) fail("more than one reply", text);
    // The channel's messages are not checked here: dropped, so that a long input does not
    // keep them all.
    m_channel.events.clear();
    m_channel.requests.clear();
    return response.replies.size();
}

void ConfiguredService::scriptLine(const std::string& line)
{
    std::string rest;
    auto command = [&line, &rest](const std::string& name) {
        if (line.compare(0, name.size(), name) != 0) return false;
        rest = line.substr(name.size());
        return true;
    };
    if (command("@advance ")) {
        // Bounded so that a run of lines cannot ask for years of virtual time.
        const long long step = std::strtoll(rest.c_str(), nullptr, 10);
        harness.context.advance(step < 0 ? 0 : (step > 600000 ? 600000 : step));
    } else if (command("@notify ")) {
        ManageableData change;
        if (!change.deserialize(rest)) return;
        harness.store.mergeSerialized(rest);
        harness.service().manageableDataChanged(change);
    } else if (command("@set ")) {
        ManageableData data;
        if (data.deserialize(rest)) harness.service().setData(data);
    } else if (command("@anon ")) {
        request(rest, "");
    } else {
        request(line);
    }
}

}  // namespace fuzzing
