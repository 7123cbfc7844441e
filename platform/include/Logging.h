#pragma once
// Platform logging: every line has a component, a source file, a level and a line number.
// Levels: 2 error, 3 warning, 5 trace; a line is written when its level is at or below
// the threshold.

#include <functional>
#include <string>

bool loggingOnAppVex(const char* component, int level);

void logAppVex(const char* component, const char* sourceFile, int level, int line,
               const char* format, ...) __attribute__((format(printf, 5, 6)));

struct LogRecord {
    std::string component;
    std::string sourceFile;
    int level;
    int line;
    std::string text;
};

namespace platformlog {
using Sink = std::function<void(const LogRecord&)>;

constexpr int kDefaultThreshold = 3;

void setThreshold(int level);
int threshold();
// Replaces where log lines go; an empty sink restores the default (standard error).
void setSink(Sink sink);
}  // namespace platformlog
