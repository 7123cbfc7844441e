#include "CapturingLogSink.h"

#include <algorithm>

CapturingLogSink::CapturingLogSink(int threshold) : m_previousThreshold(platformlog::threshold())
{
    platformlog::setThreshold(threshold);
    platformlog::setSink([this](const LogRecord& record) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_records.push_back(record);
    });
}

CapturingLogSink::~CapturingLogSink()
{
    platformlog::setSink(nullptr);
    platformlog::setThreshold(m_previousThreshold);
}

std::vector<LogRecord> CapturingLogSink::records() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
}

std::vector<std::string> CapturingLogSink::texts() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> result;
    for (const auto& record : m_records) result.push_back(record.text);
    return result;
}

std::vector<std::string> CapturingLogSink::texts(int level) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> result;
    for (const auto& record : m_records) {
        if (record.level == level) result.push_back(record.text);
    }
    return result;
}

bool CapturingLogSink::contains(const std::string& text) const { return count(text) > 0; }

bool CapturingLogSink::contains(const std::string& text, int level) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::any_of(m_records.begin(), m_records.end(),
                       [&](const LogRecord& record) { return record.text == text && record.level == level; });
}

int CapturingLogSink::count(const std::string& text) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return static_cast<int>(std::count_if(m_records.begin(), m_records.end(),
                                          [&](const LogRecord& record) { return record.text == text; }));
}

void CapturingLogSink::clear()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}
