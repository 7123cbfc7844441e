#pragma once
// The reply channel of one request, recording what the invoker does with it: each reply and
// its length, the order of replies and the completion, and how often the sender's name was
// asked for. The one InvokerResponse double of the tests and the fuzz targets.

#include <cstddef>
#include <string>
#include <vector>

#include "InvokerResponse.h"

class RecordingInvokerResponse : public InvokerResponse {
public:
    // `sender` is the name the requesting client is known by; empty for an unnamed client.
    explicit RecordingInvokerResponse(std::string sender = {}) : m_sender(std::move(sender)) {}

    // A negative length is recorded as such (in `lengths`) with an empty reply, so that a
    // check can report it instead of reading outside the buffer.
    void sendResponse(const char* data, int length) override
    {
        replies.push_back(length < 0 ? std::string() : std::string(data, static_cast<std::size_t>(length)));
        lengths.push_back(length);
        events.push_back("send");
    }
    void responseComplete() override
    {
        ++completions;
        events.push_back("complete");
    }
    void getSenderName(std::string& name) override
    {
        ++senderQueries;
        name = m_sender;
    }

    // The framework's rule for one request: at most one reply, never after the completion.
    bool repliedAfterCompletion() const
    {
        bool completed = false;
        for (const std::string& event : events) {
            if (event == "complete") completed = true;
            if (event == "send" && completed) return true;
        }
        return false;
    }

    std::vector<std::string> replies;
    std::vector<int> lengths;
    std::vector<std::string> events;  // "send" and "complete", in order
    int completions = 0;
    int senderQueries = 0;

private:
    std::string m_sender;
};
