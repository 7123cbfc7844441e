#include "Logging.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

namespace {
std::atomic<int> g_threshold{platformlog::kDefaultThreshold};
std::mutex g_sinkMutex;
std::shared_ptr<const platformlog::Sink> g_sink;

void writeToStandardError(const LogRecord& record)
{
    std::fprintf(stderr, "%s %s:%d [%d] %s\n", record.component.c_str(), record.sourceFile.c_str(),
                 record.line, record.level, record.text.c_str());
}

std::shared_ptr<const platformlog::Sink> currentSink()
{
    std::lock_guard<std::mutex> lock(g_sinkMutex);
    return g_sink;
}
}  // namespace

bool loggingOnAppVex(const char*, int level)
{
    return level <= g_threshold.load(std::memory_order_relaxed);
}

void logAppVex(const char* component, const char* sourceFile, int level, int line, const char* format, ...)
{
    if (!loggingOnAppVex(component, level)) return;
    if (format == nullptr) format = "";

    va_list arguments;
    va_start(arguments, format);
    va_list copy;
    va_copy(copy, arguments);
    char small[256];
    const int needed = std::vsnprintf(small, sizeof small, format, arguments);
    va_end(arguments);

    LogRecord record{component != nullptr ? component : "", sourceFile != nullptr ? sourceFile : "", level, line,
                     std::string()};
    if (needed < 0) {
        record.text = "<unformattable log line>";
    } else if (static_cast<std::size_t>(needed) < sizeof small) {
        record.text.assign(small, static_cast<std::size_t>(needed));
    } else {
        std::vector<char> large(static_cast<std::size_t>(needed) + 1);
        std::vsnprintf(large.data(), large.size(), format, copy);
        record.text.assign(large.data(), static_cast<std::size_t>(needed));
    }
    va_end(copy);

    const auto sink = currentSink();
    if (sink && *sink) {
        (*sink)(record);
    } else {
        writeToStandardError(record);
    }
}

namespace platformlog {
void setThreshold(int level) { g_threshold.store(level, std::memory_order_relaxed); }

int threshold() { return g_threshold.load(std::memory_order_relaxed); }

void setSink(Sink sink)
{
    auto shared = sink ? std::make_shared<const Sink>(std::move(sink)) : nullptr;
    std::lock_guard<std::mutex> lock(g_sinkMutex);
    g_sink = std::move(shared);
}
}  // namespace platformlog
