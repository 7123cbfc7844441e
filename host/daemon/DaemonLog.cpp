#include "DaemonLog.h"

#include <iostream>

#include "TextQuote.h"

namespace {
HostMutex g_outputMutex;
}  // namespace

void say(const std::string& text)
{
    HostLock lock(g_outputMutex);
    std::cerr << "dasd: " << text << std::endl;
}

std::string describe(const std::exception& error) { return quoteText(error.what()); }

std::string whatOf(const std::exception& error) noexcept
{
    try {
        return error.what();
    } catch (...) {
        return std::string();
    }
}

std::string excerpt(const std::string& text)
{
    const std::size_t shown = 200;
    if (text.size() <= shown) return quoteText(text);
    return quoteText(text.substr(0, shown)) + "... (" + std::to_string(text.size()) + " bytes)";
}

FaultLog*& FaultLog::ofCurrentRequest()
{
    thread_local FaultLog* current = nullptr;
    return current;
}

void FaultLog::rename(std::string who)
{
    HostLock lock(m_mutex);
    m_who = std::move(who);
}

void FaultLog::report(const std::string& line)
{
    std::string summary;
    bool write = false;
    {
        HostLock lock(m_mutex);
        const auto now = SteadyClock::now();
        if (!m_started || now - m_windowStart >= kWindow) {
            summary = takeSummary();
            m_written = 0;
            m_windowStart = now;
            m_started = true;
        }
        write = m_written < kLinesPerWindow;
        if (write) {
            ++m_written;
        } else {
            ++m_suppressed;
        }
    }
    if (!summary.empty()) say(summary);
    if (!write) return;
    if (line.size() <= kMaxLineLength) {
        say(line);
    } else {
        say(line.substr(0, kMaxLineLength) + "... (" + std::to_string(line.size()) + " bytes, cut)");
    }
}

void FaultLog::flush()
{
    std::string summary;
    {
        HostLock lock(m_mutex);
        summary = takeSummary();
    }
    if (!summary.empty()) say(summary);
}

std::string FaultLog::takeSummary()
{
    if (m_suppressed == 0) return std::string();
    std::string summary =
        m_who + ": " + std::to_string(m_suppressed) + " more fault line" + (m_suppressed == 1 ? "" : "s") + " suppressed";
    m_suppressed = 0;
    return summary;
}
