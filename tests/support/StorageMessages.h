#pragma once
// The dial plan's storage messages as the data access service carries them: an XML
// declaration and one schema element, for tests that write what the store holds or expect
// what the service sends.

#include <string>

const std::string kStorageDeclaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>";

// A DialPlanOverview message around `body`.
inline std::string overviewMessage(const std::string& body)
{
    return kStorageDeclaration + "<Schema name=\"DialPlanOverview\">" + body + "</Schema>";
}

// A DialPlanEntries message around `body`.
inline std::string entriesMessage(const std::string& body)
{
    return kStorageDeclaration + "<Schema name=\"DialPlanEntries\">" + body + "</Schema>";
}
