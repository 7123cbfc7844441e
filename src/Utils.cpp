#define DAS_LOG_SOURCE "src/Utils"

#include "Utils.h"

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

void Utils::addXMLHeaderFooter(std::string& body, const std::string& schemaName) { (void)body; (void)schemaName; }
std::string Utils::createXMLBegin(const std::string& name) { return "<" + name + ">"; }
std::string Utils::createXMLClose(const std::string& name) { return "</" + name + ">"; }
std::string Utils::createXMLField(const std::string& name, const std::string& text) { (void)name; (void)text; return {}; }
std::string Utils::createXMLField(const std::string& name, bool value) { (void)name; (void)value; return {}; }
std::string Utils::createXMLField(const std::string& name, unsigned int value) { (void)name; (void)value; return {}; }
std::string Utils::createXMLDialPlanEntry(int index, const t_dialPlanEntry& entry) { (void)index; (void)entry; return {}; }
std::string Utils::readDialPlanOverview() { return {}; }
std::string Utils::writeDialPlanOverview(const std::string& identity, bool enabled, bool error, unsigned int errorRow)
{
    (void)identity; (void)enabled; (void)error; (void)errorRow;
    return {};
}
std::string Utils::readDialPlan() { return {}; }
std::string Utils::deleteDialPlan() { return {}; }
std::string Utils::writeDialPlan(DialPlan* dialPlan) { (void)dialPlan; return {}; }
std::string Utils::writeDialPlanEntry(int index, const t_dialPlanEntry& entry) { (void)index; (void)entry; return {}; }
bool Utils::getXMLValue(const std::string& xml, const std::string& name, std::string& value) { (void)xml; (void)name; (void)value; return false; }
bool Utils::getXMLValue(const std::string& xml, const std::string& name, unsigned int& value) { (void)xml; (void)name; value = 0; return false; }
bool Utils::getXMLValue(const std::string& xml, const std::string& name, bool& value) { (void)xml; (void)name; (void)value; return false; }
bool Utils::getAndRemoveXMLValue(std::string& xml, const std::string& name, std::string& value) { (void)xml; (void)name; (void)value; return false; }
bool Utils::parseXMLDialPlanOverview(const std::string& xml, DialPlan& dialPlan) { (void)xml; (void)dialPlan; return false; }
bool Utils::parseXMLDialPlanEntries(const std::string& xml, DialPlan& dialPlan) { (void)xml; (void)dialPlan; return false; }
bool Utils::parseXMLDialPlanEntry(const std::string& xml, t_dialPlanEntry& entry) { (void)xml; (void)entry; return false; }
