#include "HostPeers.h"

#include <ctime>

#include "TextQuote.h"

bool ReportingMediaControl::playTone(const std::string& toneDescription, int audioPath, int volume, int durationMs)
{
    if (m_reporter)
        m_reporter("play " + quoteText(toneDescription) + " " + std::to_string(audioPath) + " " + std::to_string(volume) +
                   " " + std::to_string(durationMs));
    return true;
}

bool ReportingMediaControl::stopTone(const std::string& toneDescription)
{
    if (m_reporter) m_reporter("stop " + quoteText(toneDescription));
    return true;
}

namespace {
std::tm localNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    return parts;
}
}  // namespace

void SystemClock::getTime(int& hour, int& minute, int& second)
{
    const std::tm parts = localNow();
    hour = parts.tm_hour;
    minute = parts.tm_min;
    second = parts.tm_sec;
}

void SystemClock::getDate(int& day, int& month, int& year)
{
    const std::tm parts = localNow();
    day = parts.tm_mday;
    month = parts.tm_mon + 1;
    year = parts.tm_year + 1900;
}
