// The workbench module the page runs: C functions the page calls through ccall, each taking
// texts and answering one JSON text (docs/web.md lists them). One phone session per module
// instance; the page keeps the tools (check, explain, plan) in an instance of their own, since
// the service is one instance at a time. The answer's text lives until the next call.

#include <emscripten/emscripten.h>

#include <memory>
#include <string>

#include "HostConfig.h"
#include "JsonText.h"
#include "WorkbenchSession.h"
#include "WorkbenchTools.h"

namespace {

const char* answer(std::string text)
{
    static std::string last;
    last = std::move(text);
    return last.c_str();
}

std::unique_ptr<WorkbenchSession>& session()
{
    static std::unique_ptr<WorkbenchSession> current;
    return current;
}

// The service is linked in: a path names nothing.
std::unique_ptr<PluginLibrary> linkedPlugin() { return std::make_unique<PluginLibrary>(std::string()); }

// Runs one call of the page; whatever fails becomes {"error": ...} instead of an abort.
template <class Call>
const char* guarded(Call call)
{
    try {
        return answer(call());
    } catch (const JsonTextError& error) {
        return answer(jsonText(Json{{"error", std::to_string(error.line()) + ":" + std::to_string(error.column()) + ": " + error.what()},
                                    {"line", error.line()},
                                    {"column", error.column()}}));
    } catch (const std::exception& error) {
        return answer(jsonText(Json{{"error", error.what()}}));
    }
}

// A call on the open session, answered with its state.
template <class Action>
const char* onSession(Action action)
{
    return guarded([&] {
        if (!session()) return jsonText(Json{{"error", "no phone session: open one first"}});
        action(*session());
        return session()->stateJson();
    });
}

}  // namespace

extern "C" {

EMSCRIPTEN_KEEPALIVE const char* das_check(const char* config)
{
    return guarded([&] { return checkJson(config, linkedPlugin); });
}

EMSCRIPTEN_KEEPALIVE const char* das_explain(const char* config, const char* digits, int onHook)
{
    return guarded([&] { return explainJson(config, digits, onHook != 0, linkedPlugin); });
}

EMSCRIPTEN_KEEPALIVE const char* das_plan(const char* config)
{
    return guarded([&] { return planJson(config, linkedPlugin); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_open(const char* config)
{
    return guarded([&] {
        (void)parseHostConfig(config);  // a configuration das-sim refuses leaves the phone there is
        session().reset();              // the old service goes before the new one starts
        session() = std::make_unique<WorkbenchSession>(config, linkedPlugin());
        return session()->stateJson();
    });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_lift(const char* line)
{
    const std::string chosen = line;
    return onSession([&](WorkbenchSession& phone) { phone.liftHandset(chosen); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_press(const char* key)
{
    const char pressed = key[0];
    return onSession([&](WorkbenchSession& phone) { phone.press(pressed); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_dial() { return onSession([](WorkbenchSession& phone) { phone.dialNow(); }); }

EMSCRIPTEN_KEEPALIVE const char* das_session_hang_up()
{
    return onSession([](WorkbenchSession& phone) { phone.hangUp(); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_lock(int locked)
{
    return onSession([&](WorkbenchSession& phone) { phone.setLocked(locked != 0); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_advance(double milliseconds)
{
    // JavaScript hands over any number: the clock takes whole milliseconds up to a year.
    constexpr double kLongestAdvanceMs = 365.0 * 24 * 60 * 60 * 1000;
    if (!(milliseconds >= 0 && milliseconds <= kLongestAdvanceMs))
        return answer(jsonText(Json{{"error", "the clock moves forward by 0 ms to a year, not by that"}}));
    return onSession([&](WorkbenchSession& phone) { phone.advance(static_cast<long long>(milliseconds)); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_next_timer()
{
    return onSession([](WorkbenchSession& phone) { phone.advanceToNextTimer(); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_until_idle()
{
    return onSession([](WorkbenchSession& phone) { phone.runUntilIdle(); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_run(const char* script)
{
    const std::string commands = script;
    return onSession([&](WorkbenchSession& phone) { phone.runScript(commands); });
}

EMSCRIPTEN_KEEPALIVE const char* das_session_state()
{
    return onSession([](WorkbenchSession&) {});
}

}  // extern "C"
