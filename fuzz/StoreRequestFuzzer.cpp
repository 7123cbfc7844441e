// The store's reading of storage messages on arbitrary texts, in a fresh SQLite store and a
// fresh memory store side by side: the input is cut into messages at "\n" and each is handled
// in turn by both. Every answer is a storage message, and both stores answer alike (the
// simulator and the browser build keep their rows in memory, the daemon in SQLite); a message
// the reader takes, written out again from what it read, reads back the same; and after every
// answered write the stored plan reads back, the way the service reads it, exactly as stored
// (the store refuses what would not).

#include "FuzzSupport.h"
#include "MemoryDataAccessService.h"
#include "SqliteDataAccessService.h"
#include "StoreMessage.h"

namespace {

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

std::string element(const std::string& name, const std::string& text) { return "<" + name + ">" + text + "</" + name + ">"; }

std::string compose(const StoreRequest& request)
{
    std::string body = element("ReasonForMessage", request.reason);
    for (const auto& field : request.fields) body += element(field.name, field.text);
    for (const auto& entry : request.entries) {
        std::string fields;
        for (const auto& field : entry.fields) fields += element(field.name, field.text);
        body += element("Entry", fields);
    }
    return kHeader + "<Schema name=\"" + request.schema + "\">" + body + "</Schema>";
}

bool sameElements(const std::vector<StoreElement>& a, const std::vector<StoreElement>& b)
{
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i].name != b[i].name || a[i].text != b[i].text) return false;
    }
    return true;
}

void checkRecomposition(const std::string& message)
{
    StoreRequest first;
    try {
        first = parseStoreRequest(message);
    } catch (const StoreMessageError&) {
        return;
    }
    const std::string again = compose(first);
    StoreRequest second;
    try {
        second = parseStoreRequest(again);
    } catch (const StoreMessageError& error) {
        fuzzing::fail("a message written out from what was read no longer reads", again + " / " + error.what());
    }
    bool same = first.schema == second.schema && first.reason == second.reason &&
                sameElements(first.fields, second.fields) && first.entries.size() == second.entries.size();
    for (std::size_t i = 0; same && i < first.entries.size(); ++i)
        same = sameElements(first.entries[i].fields, second.entries[i].fields);
    if (!same) fuzzing::fail("a message written out from what was read reads differently", again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    SqliteDataAccessService store(":memory:");
    MemoryDataAccessService memory;
    for (const auto& message : fuzzing::splitLines(fuzzing::toText(data, size), 16)) {
        checkRecomposition(message);
        const std::string answer = store.processRequest(message);
        if (answer.rfind(kHeader + "<Schema name=\"", 0) != 0 || answer.size() < 9 ||
            answer.compare(answer.size() - 9, 9, "</Schema>") != 0)
            fuzzing::fail("an answer that is not a storage message", answer);
        const std::string memoryAnswer = memory.processRequest(message);
        if (memoryAnswer != answer) fuzzing::fail("the memory store answers otherwise than SQLite", answer + " / " + memoryAnswer);
    }
    return 0;
}
