#include "CapturingLogSink.h"

#include <algorithm>

CapturingLogSink::CapturingLogSink(int threshold)
    : m_captured(std::make_shared<Captured>()), m_previousThreshold(platformlog::threshold())
{
    platformlog::setThreshold(threshold);
    platformlog::setSink([captured = m_captured](const LogRecord& record) {
        std::lock_guard<std::mutex> lock(captured->mutex);
        captured->records.push_back(record);
    });
}

CapturingLogSink::~CapturingLogSink()
{
    platformlog::setSink(nullptr);
    platformlog::setThreshold(m_previousThreshold);
}

std::vector<LogRecord> CapturingLogSink::records() const
{
    std::lock_guard<std::mutex> lock(m_captured->mutex);
    return m_captured->records;
}

std::vector<std::string> CapturingLogSink::texts() const
{
    std::vector<std::string> result;
    for (const auto& record : records()) result.push_back(record.text);
    return result;
}

std::vector<std::string> CapturingLogSink::texts(int level) const
{
    std::vector<std::string> result;
    for (const auto& record : records()) {
        if (record.level == level) result.push_back(record.text);
    }
    return result;
}

bool CapturingLogSink::contains(const std::string& text) const { return count(text) > 0; }

bool CapturingLogSink::contains(const std::string& text, int level) const
{
    const auto all = records();
    return std::any_of(all.begin(), all.end(),
                       [&](const LogRecord& record) { return record.text == text && record.level == level; });
}

int CapturingLogSink::count(const std::string& text) const
{
    const auto all = records();
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&](const LogRecord& record) { return record.text == text; }));
}

void CapturingLogSink::clear()
{
    std::lock_guard<std::mutex> lock(m_captured->mutex);
    m_captured->records.clear();
}
