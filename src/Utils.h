#pragma once
// The dial plan's storage messages: building the XML requests for the data access
// service and reading values out of its responses.

#include <string>

#include "DigitAnalysisTypes.h"

class DialPlan;

// All operations are static; the class only groups them with the tag name constants.
class Utils {
public:
    static const std::string XMLHEADER;
    static const std::string ENTRY;
    static const std::string DIALPLANID;
    static const std::string DIALPLANENABLED;
    static const std::string DIALPLANERROR;
    static const std::string DIALPLANERRORROW;
    static const std::string REASONFORMESSAGE;
    static const std::string TRUE;
    static const std::string FALSE;

    // Message building.
    static void addXMLHeaderFooter(std::string& body, const std::string& schemaName);
    static std::string createXMLBegin(const std::string& name);
    static std::string createXMLClose(const std::string& name);
    static std::string createXMLField(const std::string& name, const std::string& text);
    // Keeps a quoted text from being taken for a flag (a pointer converts to bool).
    static std::string createXMLField(const std::string& name, const char* text);
    static std::string createXMLField(const std::string& name, bool value);
    static std::string createXMLField(const std::string& name, unsigned int value);
    static std::string createXMLDialPlanEntry(int index, const t_dialPlanEntry& entry);

    static std::string readDialPlanOverview();
    static std::string writeDialPlanOverview(const std::string& identity, bool enabled, bool error,
                                             unsigned int errorRow);
    static std::string readDialPlan();
    static std::string deleteDialPlan();
    static std::string writeDialPlan(DialPlan* dialPlan);
    static std::string writeDialPlanEntry(int index, const t_dialPlanEntry& entry);

    // Response parsing.
    static bool getXMLValue(const std::string& xml, const std::string& name, std::string& value);
    static bool getXMLValue(const std::string& xml, const std::string& name, unsigned int& value);
    static bool getXMLValue(const std::string& xml, const std::string& name, bool& value);
    static bool getAndRemoveXMLValue(std::string& xml, const std::string& name, std::string& value);
    static bool parseXMLDialPlanOverview(const std::string& xml, DialPlan& dialPlan);
    static bool parseXMLDialPlanEntries(const std::string& xml, DialPlan& dialPlan);
    static bool parseXMLDialPlanEntry(const std::string& xml, t_dialPlanEntry& entry);
};
