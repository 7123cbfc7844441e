#include "DasctlSession.h"

#include <algorithm>
#include <iostream>
#include <sstream>

#include "DigitAnalysisRequestKeywords.h"
#include "HostMutex.h"
#include "JsonText.h"
#include "LineReader.h"
#include "TextQuote.h"

namespace {

HostMutex g_outputMutex;

void print(const std::string& line)
{
    HostLock lock(g_outputMutex);
    std::cout << line << std::endl;
}

}  // namespace

const DasctlSession::Verb DasctlSession::kVerbs[6] = {
    {"send", "REQUEST...", "send requests, print the replies", true, 0, kAnyNumber, Split::No,
     [](DasctlSession& session, const std::vector<std::string>& words) {
         for (const auto& request : words) session.send(request);
     }},
    {"set", "KEY VALUE", "change an item and notify the service", true, 2, 2, Split::KeyAndValue,
     [](DasctlSession& session, const std::vector<std::string>& words) { session.set(words[0], words[1]); }},
    {"mgmt-set", "JSON", "management write of root items", true, 1, 1, Split::Whole,
     [](DasctlSession& session, const std::vector<std::string>& words) { session.managementSet(words[0]); }},
    {"mgmt-get", "ROOT...", "management read", true, 1, kAnyNumber, Split::Words,
     [](DasctlSession& session, const std::vector<std::string>& words) { session.managementGet(words); }},
    {"answer", "TEXT", "the answer to this client's proxy requests from now on", false, 1, 1, Split::Whole,
     [](DasctlSession& session, const std::vector<std::string>& words) { session.m_settings.answer = words[0]; }},
    {"quit", "", "end the session", false, 0, 0, Split::Nothing,
     [](DasctlSession& session, const std::vector<std::string>&) { session.m_quit = true; }},
};

DasctlSession::DasctlSession(DasctlSettings& settings)
    : m_settings(settings),
      m_client(settings.socketPath, settings.name,
               DasClient::Handlers{[](const std::string& event) { print("event " + quoteText(event)); },
                                   [this](const std::string& request) {
                                       print("request " + quoteText(request));
                                       print("answer " + quoteText(m_settings.answer));
                                       return m_settings.answer;
                                   }},
               settings.timeoutMs)
{
}

void DasctlSession::send(const std::string& request)
{
    for (const auto& reply : m_client.request(request)) {
        print("reply " + quoteText(reply));
        if (reply == das_requests::kErrorReply) failed = true;
    }
}

void DasctlSession::set(const std::string& key, const std::string& value)
{
    if (refusedAsNotUtf8("the key", key) || refusedAsNotUtf8("the value", value)) return;
    reportError(m_client.notify(jsonText(Json{{key, value}})));
}

void DasctlSession::managementSet(const std::string& json)
{
    const Json result = m_client.managementSet(json);
    if (reportError(result)) return;
    const bool written = result.value("ok", false);
    print(std::string("mgmt-set ") + (written ? "true" : "false"));
    if (!written) failed = true;
    // Why the plan is not in force: refused by the service, or not stored.
    if (!written && result.contains("reason")) print("reason " + quoteText(result.value("reason", std::string())));
}

void DasctlSession::managementGet(const std::vector<std::string>& roots)
{
    for (std::size_t i = 0; i < roots.size(); ++i) {
        if (refusedAsNotUtf8("root name " + std::to_string(i + 1), roots[i])) return;
    }
    const Json result = m_client.managementGet(roots);
    if (reportError(result)) return;
    for (const auto& item : result.at("items")) {
        print("mgmt-get " + item.at(0).get<std::string>() + " " + quoteText(item.at(1).get<std::string>()));
    }
}

const DasctlSession::Verb& DasctlSession::verbOf(const std::vector<std::string>& words, std::size_t& skipped)
{
    const Verb* verb = words.empty() ? nullptr : findVerb(words.front(), Form::CommandLine);
    skipped = verb != nullptr ? 1 : 0;
    return verb != nullptr ? *verb : kVerbs[0];
}

std::string DasctlSession::usageFault(const std::vector<std::string>& words)
{
    std::size_t skipped = 0;
    const Verb& verb = verbOf(words, skipped);
    if (skipped == 0) {
        // A word that is neither a verb nor a request is far more often a mistyped verb
        // than a request meant to be sent: refuse it rather than send it.
        for (const auto& word : words) {
            if (!beginsWithRequestKeyword(word)) {
                return "unknown command " + quoteText(word) +
                       ": neither a verb nor a request keyword (\"send TEXT\" sends any text)";
            }
        }
    }
    const std::size_t count = words.size() - skipped;
    if (count < verb.fewestWords || count > verb.mostWords) return std::string("wrong arguments for ") + verb.name;
    return std::string();
}

bool DasctlSession::command(const std::vector<std::string>& words)
{
    if (!usageFault(words).empty()) return false;
    std::size_t skipped = 0;
    const Verb& verb = verbOf(words, skipped);
    verb.run(*this, std::vector<std::string>(words.begin() + static_cast<std::ptrdiff_t>(skipped), words.end()));
    return true;
}

bool DasctlSession::beginsWithRequestKeyword(const std::string& request)
{
    for (const char* keyword : das_requests::kAllKeywords) {
        if (request.rfind(keyword, 0) == 0) return true;
    }
    return false;
}

void DasctlSession::interact()
{
    LineReader reader("dasctl> ");
    std::string line;
    while (m_client.isOpen() && !m_quit && reader.read(line)) {
        if (line.empty()) continue;
        if (line[0] != ':') {
            send(line);
            continue;
        }
        const auto blank = line.find(' ');
        const std::string name = line.substr(1, blank == std::string::npos ? std::string::npos : blank - 1);
        const std::string rest = blank == std::string::npos ? std::string() : line.substr(blank + 1);
        const Verb* verb = findVerb(name, Form::Interactive);
        std::vector<std::string> arguments;
        if (verb == nullptr || !splitRest(verb->interactive, rest, arguments)) {
            print("error: commands are " + interactiveSynopsis());
            continue;
        }
        verb->run(*this, arguments);
    }
}

void DasctlSession::listen() { m_client.waitUntilClosed(); }

std::string DasctlSession::usage()
{
    std::string lines;
    for (const Verb& verb : kVerbs) {
        if (!verb.onCommandLine) continue;
        std::string synopsis = &verb == &kVerbs[0] ? "[" + std::string(verb.name) + "]" : std::string(verb.name);
        synopsis += std::string(" ") + verb.arguments;
        synopsis.resize(std::max<std::size_t>(synopsis.size() + 1, 21), ' ');
        lines += "\n  dasctl [options] " + synopsis + verb.help;
    }
    return lines;
}

const DasctlSession::Verb* DasctlSession::findVerb(const std::string& name, Form form)
{
    for (const Verb& verb : kVerbs) {
        const bool offered = form == Form::Interactive ? verb.interactive != Split::No : verb.onCommandLine;
        if (offered && name == verb.name) return &verb;
    }
    return nullptr;
}

bool DasctlSession::splitRest(Split split, const std::string& rest, std::vector<std::string>& words)
{
    switch (split) {
    case Split::No: return false;
    case Split::Nothing: return true;
    case Split::Whole: words.push_back(rest); return true;
    case Split::KeyAndValue: {
        const auto blank = rest.find(' ');
        if (blank == std::string::npos) return false;
        words.push_back(rest.substr(0, blank));
        words.push_back(rest.substr(blank + 1));
        return true;
    }
    case Split::Words: {
        std::istringstream stream(rest);
        for (std::string word; stream >> word;) words.push_back(word);
        return true;
    }
    }
    return false;
}

std::string DasctlSession::interactiveSynopsis()
{
    std::string text;
    for (const Verb& verb : kVerbs) {
        if (verb.interactive == Split::No) continue;
        if (!text.empty()) text += ", ";
        text += std::string(":") + verb.name + (*verb.arguments != '\0' ? std::string(" ") + verb.arguments : "");
    }
    return text;
}

bool DasctlSession::reportError(const Json& result)
{
    if (!result.contains("error")) return false;
    print("error " + quoteText(result.at("error").get<std::string>()));
    failed = true;
    return true;
}

// The daemon reads keys, values and root names inside JSON, which is UTF-8 only: a
// text that is not is refused here, like a management message the daemon refuses,
// and nothing is sent.
bool DasctlSession::refusedAsNotUtf8(const std::string& what, const std::string& text)
{
    const std::size_t invalid = invalidUtf8Offset(text);
    if (invalid == std::string::npos) return false;
    print("error " + quoteText(what + ", byte " + std::to_string(invalid + 1) + ": " + invalidUtf8Reason(text, invalid)));
    failed = true;
    return true;
}
