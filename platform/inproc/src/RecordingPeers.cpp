#include "RecordingPeers.h"

void PassivePeer::init(Context&) {}
void PassivePeer::shutdown() {}

namespace {
// The text between the first <tag> and the first </tag> after it; empty when absent.
std::string elementText(const std::string& xml, const std::string& tag)
{
    const std::string open = "<" + tag + ">";
    const std::string close = "</" + tag + ">";
    const auto start = xml.find(open);
    if (start == std::string::npos) return {};
    const auto end = xml.find(close, start + open.size());
    if (end == std::string::npos) return {};
    return xml.substr(start + open.size(), end - start - open.size());
}

std::string schemaName(const std::string& xml)
{
    const std::string marker = "<Schema name=\"";
    const auto start = xml.find(marker);
    if (start == std::string::npos) return {};
    const auto end = xml.find('"', start + marker.size());
    if (end == std::string::npos) return {};
    return xml.substr(start + marker.size(), end - start - marker.size());
}
}  // namespace

std::string RecordingDataAccessService::processRequest(const std::string& request)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.push_back(request);
    const std::string schema = schemaName(request);
    const std::string reason = elementText(request, "ReasonForMessage");
    const std::string reasonElement = "<ReasonForMessage>" + reason + "</ReasonForMessage>";

    if (reason == DASUtilsStrings::ReadRequest) {
        const auto canned = m_cannedReads.find(schema);
        if (canned != m_cannedReads.end()) return canned->second;
        const auto body = m_bodies.find(schema);
        std::string response = "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"" + schema + "\">";
        if (body != m_bodies.end()) response += body->second;
        return response + "</Schema>";
    }
    if (reason == DASUtilsStrings::DeleteRequest) {
        m_bodies.erase(schema);
    } else if (reason == DASUtilsStrings::WriteRequest || reason == DASUtilsStrings::UpdateRequest) {
        const auto bodyStart = request.find(reasonElement);
        const auto bodyEnd = request.rfind("</Schema>");
        if (bodyStart != std::string::npos && bodyEnd != std::string::npos && bodyEnd >= bodyStart + reasonElement.size()) {
            m_bodies[schema] = request.substr(bodyStart + reasonElement.size(), bodyEnd - bodyStart - reasonElement.size());
        }
    }
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?><Schema name=\"" + schema + "\"><Result>OK</Result></Schema>";
}

std::vector<std::string> RecordingDataAccessService::requests() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

void RecordingDataAccessService::clearRequests()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.clear();
}

void RecordingDataAccessService::setReadResponse(const std::string& schemaName, const std::string& response)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_cannedReads[schemaName] = response;
}

std::string RecordingDataAccessService::storedBody(const std::string& schemaName) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto it = m_bodies.find(schemaName);
    return it == m_bodies.end() ? std::string() : it->second;
}

bool RecordingMediaControl::playTone(const std::string& toneDescription, int audioPath, int volume, int durationMs)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back("play " + toneDescription + " " + std::to_string(audioPath) + " " + std::to_string(volume) +
                      " " + std::to_string(durationMs));
    return true;
}

bool RecordingMediaControl::stopTone(const std::string& toneDescription)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back("stop " + toneDescription);
    return true;
}

std::vector<std::string> RecordingMediaControl::calls() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_calls;
}

void RecordingMediaControl::clearCalls()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.clear();
}

void RecordingTeamService::setLine(const std::string& line, int type, const std::string& destination)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_lines[line] = {type, destination};
}

int RecordingTeamService::getHotWarmLineType(const std::string& line)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_queries.push_back("type " + line);
    const auto it = m_lines.find(line);
    return it == m_lines.end() ? 0 : it->second.first;
}

std::string RecordingTeamService::getHotWarmLineDestination(const std::string& line)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_queries.push_back("destination " + line);
    const auto it = m_lines.find(line);
    return it == m_lines.end() ? std::string("??") : it->second.second;
}

std::vector<std::string> RecordingTeamService::queries() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_queries;
}

FixedClock::FixedClock(int year, int month, int day, int hour, int minute, int second)
    : m_year(year), m_month(month), m_day(day), m_hour(hour), m_minute(minute), m_second(second)
{
}

void FixedClock::getTime(int& hour, int& minute, int& second)
{
    hour = m_hour;
    minute = m_minute;
    second = m_second;
}

void FixedClock::getDate(int& day, int& month, int& year)
{
    day = m_day;
    month = m_month;
    year = m_year;
}
