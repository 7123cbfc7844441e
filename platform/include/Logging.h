#pragma once
// Platform logging: every line has a component, a source file, a level and a line number.
// Levels: 2 error, 3 warning, 5 trace; a line is written when its level is at or below
// the threshold. Every function here may be called from any thread at any time; a line is
// handed to the sink whole (lines of two threads never mix), and logging never fails: an
// unformattable line is written as "<unformattable log line>".

#include <functional>
#include <string>

// True when a line of `level` would be written now: ask before building costly arguments.
// Takes no lock.
bool loggingOnAppVex(const char* component, int level);

// Writes one line, printf-formatted from `format` and the values, when loggingOnAppVex says
// so. Null component, source file or format are written as empty texts. Text from outside
// (a request, a configuration value) is only ever a value, never the format. Takes the sink's
// lock only to fetch the current sink: a sink may itself log without deadlock.
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
// The most detailed level: the trace lines tools read to follow what the service decided.
constexpr int kTraceLevel = 5;

// Lines at or below `level` are written from now on, in every thread.
void setThreshold(int level);
int threshold();
// Replaces where log lines go; an empty sink restores the default (standard error). The sink
// is copied; a line being written in another thread may still reach the old one. A sink is
// called from the logging thread and must be safe to call from several threads at once.
void setSink(Sink sink);
}  // namespace platformlog
