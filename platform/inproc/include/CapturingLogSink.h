#pragma once
// Captures log lines for inspection while it exists; restores the default sink and the
// previous threshold when destroyed. Thread-safe.

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Logging.h"

class CapturingLogSink {
public:
    explicit CapturingLogSink(int threshold = 5);
    ~CapturingLogSink();
    CapturingLogSink(const CapturingLogSink&) = delete;
    CapturingLogSink& operator=(const CapturingLogSink&) = delete;

    std::vector<LogRecord> records() const;
    // The texts of every captured line, in order.
    std::vector<std::string> texts() const;
    // The texts of captured lines at exactly `level`.
    std::vector<std::string> texts(int level) const;
    bool contains(const std::string& text) const;
    bool contains(const std::string& text, int level) const;
    // How many lines have exactly this text.
    int count(const std::string& text) const;
    void clear();

private:
    // Shared with the installed sink, so that a line still being written by another thread
    // while this object is destroyed lands in memory that is still alive.
    struct Captured {
        std::mutex mutex;
        std::vector<LogRecord> records;
    };
    std::shared_ptr<Captured> m_captured;
    int m_previousThreshold;
};
