// dasd's handling of a client's byte stream, in process: the input is the stream of one
// session (frames of every kind, or any bytes), against one daemon that lives for the whole
// run, with the built-in phone and an in-memory store. Whatever comes in, the daemon answers
// within a bounded time, sends only well-formed frames, completes each request it took exactly
// once and answers each management frame it took exactly once; and it goes on serving.

#include <cstdio>
#include <map>
#include <memory>

#include "Daemon.h"
#include "DialPlanLoggerTexts.h"
#include "DigitAnalysisServicePlugin.h"
#include "FuzzSupport.h"

namespace {

Daemon& daemon()
{
    static Daemon* const running = [] {
        // The fuzz build links the service into the target: a sanitized plug-in could not be
        // loaded beside the sanitizer's runtime.
        static const LinkedPlugin linked{&createDigitAnalysisService, &createDigitAnalysisServiceInvoker,
                                         &createDigitAnalysisServiceEventProxy, &dialPlanLoggerTexts_FileNameMips};
        DaemonOptions options;
        options.storePath = ":memory:";
        options.linkedPlugin = &linked;
        options.messageThreads = 2;
        // Proxy requests to fuzzed clients get no answer: do not wait long for one.
        options.answerTimeoutMs = 1;
        options.logLevel = 2;
        auto* created = new Daemon(options);
        created->startInProcess();
        return created;
    }();
    return *running;
}

// Frames the client sent that must be answered once each, by id: COMPLETE for REQUEST,
// MGMT_RESULT for NOTIFY, MGMT_SET and MGMT_GET.
using Expected = std::map<std::pair<FrameKind, std::uint32_t>, int>;

void expectAnswers(const std::vector<Frame>& handled, Expected& expected)
{
    bool welcomed = false;
    for (const auto& frame : handled) {
        if (!welcomed) {
            welcomed = frame.kind == FrameKind::Hello;
            continue;
        }
        switch (frame.kind) {
        case FrameKind::Request: ++expected[{FrameKind::Complete, frame.id}]; break;
        case FrameKind::Notify:
        case FrameKind::MgmtSet:
        case FrameKind::MgmtGet: ++expected[{FrameKind::MgmtResult, frame.id}]; break;
        default: break;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto session = daemon().openSession();
    session->feed(fuzzing::toText(data, size));
    if (!session->waitUntilAnswered(20000)) fuzzing::fail("the daemon did not answer within 20 s", "");

    Expected expected;
    expectAnswers(session->handled(), expected);
    Expected seen;
    for (const auto& frame : session->sent()) {
        if (frame.kind == FrameKind::Complete || frame.kind == FrameKind::MgmtResult) ++seen[{frame.kind, frame.id}];
    }
    // A HELLO that was refused ends the session with an ERROR instead of a WELCOME; then
    // nothing after it was taken.
    const auto sent = session->sent();
    const bool welcomed = !sent.empty() && sent.front().kind == FrameKind::Welcome;
    if (welcomed && seen != expected) {
        char counts[96];
        std::snprintf(counts, sizeof counts, "%zu kinds of answer expected, %zu seen", expected.size(), seen.size());
        fuzzing::fail("a request or management frame was not answered exactly once", counts);
    }
    session.reset();

    // The daemon still serves a fresh client.
    auto probe = daemon().openSession();
    probe->feed(encodeFrame({FrameKind::Hello, 0, ""}) + encodeFrame({FrameKind::Request, 1, "isfacprefixrequest:1"}));
    if (!probe->waitUntilAnswered(20000) || probe->sent().empty() || probe->sent().back().kind != FrameKind::Complete)
        fuzzing::fail("the daemon stopped serving after an input", "");
    return 0;
}
