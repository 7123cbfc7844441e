#define DAS_LOG_SOURCE "src/Utils"

#include "Utils.h"

#include <cstdlib>

#include "DataAccessServiceIfc.h"
#include "DialPlan.h"
#include "ServiceLog.h"

const std::string Utils::XMLHEADER = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";
const std::string Utils::ENTRY = "Entry";
const std::string Utils::DIALPLANID = "DialPlanId";
const std::string Utils::DIALPLANENABLED = "DialPlanEnabled";
const std::string Utils::DIALPLANERROR = "DialPlanError";
const std::string Utils::DIALPLANERRORROW = "DialPlanErrorRow";
const std::string Utils::REASONFORMESSAGE = "ReasonForMessage";
const std::string Utils::TRUE = "true";
const std::string Utils::FALSE = "false";

namespace {

const std::string kEntryIdTagName = "Id";

// Where an element's text lies in a message: the first opening tag and the first closing
// tag are looked for independently, so repeated or nested elements yield the text between
// the first of each.
struct ElementPosition {
    std::size_t open = std::string::npos;    // start of the opening tag
    std::size_t start = std::string::npos;   // first character of the text
    std::size_t close = std::string::npos;   // start of the closing tag
    std::size_t closeLength = 0;

    bool found() const { return open != std::string::npos && close != std::string::npos && close >= start; }
    std::size_t length() const { return close - start; }
};

ElementPosition locateElement(const std::string& xml, const std::string& name)
{
    ElementPosition position;
    const std::string openTag = Utils::createXMLBegin(name);
    const std::string closeTag = Utils::createXMLClose(name);
    position.open = xml.find(openTag);
    position.close = xml.find(closeTag);
    position.closeLength = closeTag.size();
    if (position.open != std::string::npos) position.start = position.open + openTag.size();
    return position;
}

// The leading decimal number of a text, as the C library reads it, cut to 32 bits. The
// 64-bit conversion makes the result the same whether `long` has 32 or 64 bits.
unsigned int leadingNumber(const std::string& text)
{
    return static_cast<unsigned int>(std::strtoull(text.c_str(), nullptr, 10));
}

std::string reasonForMessage(const std::string& requestKind)
{
    return Utils::createXMLField(Utils::REASONFORMESSAGE, requestKind);
}

}  // namespace

// ---- Message building ---------------------------------------------------------------------

void Utils::addXMLHeaderFooter(std::string& body, const std::string& schemaName)
{
    if (schemaName.empty()) {
        body = XMLHEADER + body;
        return;
    }
    body = XMLHEADER + "<Schema name=\"" + schemaName + "\">" + body + "</Schema>";
}

std::string Utils::createXMLBegin(const std::string& name) { return "<" + name + ">"; }

std::string Utils::createXMLClose(const std::string& name) { return "</" + name + ">"; }

std::string Utils::createXMLField(const std::string& name, const std::string& text)
{
    return createXMLBegin(name) + text + createXMLClose(name);
}

std::string Utils::createXMLField(const std::string& name, const char* text)
{
    return createXMLField(name, std::string(text != nullptr ? text : ""));
}

std::string Utils::createXMLField(const std::string& name, bool value)
{
    return createXMLField(name, value ? TRUE : FALSE);
}

std::string Utils::createXMLField(const std::string& name, unsigned int value)
{
    return createXMLField(name, std::to_string(value));
}

std::string Utils::createXMLDialPlanEntry(int index, const t_dialPlanEntry& entry)
{
    std::string xml = createXMLBegin(ENTRY);
    xml += createXMLField(kEntryIdTagName, static_cast<unsigned int>(index + 1));
    xml += createXMLField(DASUtilsStrings::DigitStringTagName, entry.digitString);
    xml += createXMLField(DASUtilsStrings::ActionTagName, entry.action);
    xml += createXMLField(DASUtilsStrings::MinimumDigitLengthTagName, static_cast<unsigned int>(entry.minDigitLength));
    xml += createXMLField(DASUtilsStrings::MaximumDigitLengthTagName, static_cast<unsigned int>(entry.maxDigitLength));
    xml += createXMLField(DASUtilsStrings::TimerTagName, static_cast<unsigned int>(entry.timer));
    xml += createXMLField(DASUtilsStrings::TerminatorTagName, entry.terminator);
    xml += createXMLField(DASUtilsStrings::SpecialNumberTagName, entry.specialNumberIndication);
    xml += createXMLField(DASUtilsStrings::CommentTagName, entry.comment);
    xml += createXMLField(DASUtilsStrings::TerminatorSentTagName, entry.terminatorSent);
    xml += createXMLClose(ENTRY);
    return xml;
}

std::string Utils::readDialPlanOverview()
{
    std::string message = reasonForMessage(DASUtilsStrings::ReadRequest);
    addXMLHeaderFooter(message, DASUtilsStrings::DialPlanOverviewSchema);
    DAS_TRACE("readDialPlanOverview = %s", message.c_str());
    return message;
}

std::string Utils::writeDialPlanOverview(const std::string& identity, bool enabled, bool error,
                                         unsigned int errorRow)
{
    std::string message = reasonForMessage(DASUtilsStrings::UpdateRequest);
    message += createXMLField(DIALPLANENABLED, enabled);
    message += createXMLField(DIALPLANID, identity);
    message += createXMLField(DIALPLANERROR, error);
    message += createXMLField(DIALPLANERRORROW, errorRow);
    addXMLHeaderFooter(message, DASUtilsStrings::DialPlanOverviewSchema);
    DAS_TRACE("writeDialPlanOverview = %s", message.c_str());
    return message;
}

std::string Utils::readDialPlan()
{
    std::string message = reasonForMessage(DASUtilsStrings::ReadRequest);
    addXMLHeaderFooter(message, DASUtilsStrings::DialPlanEntriesSchema);
    return message;
}

std::string Utils::deleteDialPlan()
{
    std::string message = reasonForMessage(DASUtilsStrings::DeleteRequest);
    addXMLHeaderFooter(message, DASUtilsStrings::DialPlanEntriesSchema);
    DAS_TRACE("deleteDialPlan = %s", message.c_str());
    return message;
}

std::string Utils::writeDialPlan(DialPlan* dialPlan)
{
    std::string message = reasonForMessage(DASUtilsStrings::WriteRequest);
    if (dialPlan != nullptr) {
        const int count = dialPlan->getNumberOfEntries();
        for (int index = 0; index < count && index < DialPlan::kMaxEntries; ++index) {
            message += createXMLDialPlanEntry(index, *dialPlan->getEntry(index));
        }
    }
    addXMLHeaderFooter(message, DASUtilsStrings::DialPlanEntriesSchema);
    DAS_TRACE("writeDialPlan = %s", message.c_str());
    return message;
}

std::string Utils::writeDialPlanEntry(int index, const t_dialPlanEntry& entry)
{
    std::string message = reasonForMessage(DASUtilsStrings::WriteRequest);
    message += createXMLBegin(ENTRY) + createXMLDialPlanEntry(index, entry) + createXMLClose(ENTRY);
    addXMLHeaderFooter(message, DASUtilsStrings::DialPlanEntriesSchema);
    DAS_TRACE("Utils::writeDialPlanEntry = %s", message.c_str());
    return message;
}

// ---- Response parsing ---------------------------------------------------------------------

bool Utils::getXMLValue(const std::string& xml, const std::string& name, std::string& value)
{
    const ElementPosition position = locateElement(xml, name);
    const bool found = position.found();
    if (found) value = xml.substr(position.start, position.length());
    DAS_TRACE("getXMLValue = %s", value.c_str());
    return found;
}

bool Utils::getXMLValue(const std::string& xml, const std::string& name, unsigned int& value)
{
    value = 0;
    const ElementPosition position = locateElement(xml, name);
    const bool found = position.found();
    if (found) value = leadingNumber(xml.substr(position.start, position.length()));
    DAS_TRACE("getXMLValue = %i", static_cast<int>(value));
    return found;
}

bool Utils::getXMLValue(const std::string& xml, const std::string& name, bool& value)
{
    const ElementPosition position = locateElement(xml, name);
    const bool found = position.found();
    if (found) value = xml.compare(position.start, position.length(), TRUE) == 0;
    DAS_TRACE("getXMLValue = %i", static_cast<int>(value));
    return found;
}

bool Utils::getAndRemoveXMLValue(std::string& xml, const std::string& name, std::string& value)
{
    const ElementPosition position = locateElement(xml, name);
    const bool found = position.found();
    if (found) {
        value = xml.substr(position.start, position.length());
        xml.erase(position.open, position.close + position.closeLength - position.open);
    }
    DAS_TRACE("getAndRemoveXMLValue = %s", value.c_str());
    return found;
}

bool Utils::parseXMLDialPlanOverview(const std::string& xml, DialPlan& dialPlan)
{
    std::string identity;
    if (!getXMLValue(xml, DIALPLANID, identity)) {
        DAS_TRACE("dial plan ID empty");
        return false;
    }
    bool enabled = false;
    bool error = false;
    unsigned int errorRow = 0;
    getXMLValue(xml, DIALPLANENABLED, enabled);
    getXMLValue(xml, DIALPLANERROR, error);
    getXMLValue(xml, DIALPLANERRORROW, errorRow);

    dialPlan.setIdentity(identity);
    dialPlan.setEnabled(enabled);
    dialPlan.setError(error);
    dialPlan.setErrorRow(errorRow);
    DAS_TRACE("parseXMLDialPlanOverview: DIALPLANID = %s, DIALPLANENABLED = %i, DIALPLANERROR = %i, "
              "DIALPLANERRORROW = %u",
              identity.c_str(), static_cast<int>(enabled), static_cast<int>(error), errorRow);
    return true;
}

bool Utils::parseXMLDialPlanEntries(const std::string& xml, DialPlan& dialPlan)
{
    DAS_TRACE("parseXMLDialPlanEntries = %s", xml.c_str());
    std::string remaining = xml;
    std::string entryXml;
    int count = 0;
    // The plan holds at most kMaxEntries entries; further "Entry" elements are left unread.
    while (count < DialPlan::kMaxEntries && getAndRemoveXMLValue(remaining, ENTRY, entryXml)) {
        parseXMLDialPlanEntry(entryXml, *dialPlan.getEntry(count));
        ++count;
    }
    dialPlan.setNumberOfEntries(count);
    return count > 0;
}

bool Utils::parseXMLDialPlanEntry(const std::string& xml, t_dialPlanEntry& entry)
{
    t_dialPlanEntry parsed;
    parsed.terminatorSent = false;
    getXMLValue(xml, DASUtilsStrings::DigitStringTagName, parsed.digitString);
    getXMLValue(xml, DASUtilsStrings::ActionTagName, parsed.action);
    getXMLValue(xml, DASUtilsStrings::TerminatorTagName, parsed.terminator);
    getXMLValue(xml, DASUtilsStrings::SpecialNumberTagName, parsed.specialNumberIndication);
    getXMLValue(xml, DASUtilsStrings::CommentTagName, parsed.comment);

    unsigned int number = 0;
    getXMLValue(xml, DASUtilsStrings::MinimumDigitLengthTagName, number);
    parsed.minDigitLength = number;
    getXMLValue(xml, DASUtilsStrings::MaximumDigitLengthTagName, number);
    parsed.maxDigitLength = number;
    getXMLValue(xml, DASUtilsStrings::TimerTagName, number);
    parsed.timer = number;
    getXMLValue(xml, DASUtilsStrings::TerminatorSentTagName, parsed.terminatorSent);

    entry = parsed;
    DAS_TRACE("parseXMLDialPlanEntry: DigitString = %s, Action = %s, Terminator = %s, SpecialNumber = %s, "
              "Comment = %s MinimumDigitLength = %u MaximumDigitLength = %u, Timer = %u, TerminatorSent = %i",
              entry.digitString.c_str(), entry.action.c_str(), entry.terminator.c_str(),
              entry.specialNumberIndication.c_str(), entry.comment.c_str(),
              static_cast<unsigned int>(entry.minDigitLength), static_cast<unsigned int>(entry.maxDigitLength),
              static_cast<unsigned int>(entry.timer), static_cast<int>(entry.terminatorSent));
    return true;
}
