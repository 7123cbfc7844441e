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

// A request to the store: `reason` ("ReadRequest", "UpdateRequest", ...) and the elements after it.
inline std::string storeRequest(const std::string& schema, const std::string& reason, const std::string& fields = "")
{
    return kStorageDeclaration + "<Schema name=\"" + schema + "\"><ReasonForMessage>" + reason + "</ReasonForMessage>" +
           fields + "</Schema>";
}

// An overview update of every field, as the service writes a plan without error.
inline std::string overviewUpdate(const std::string& id, const std::string& enabled)
{
    return storeRequest("DialPlanOverview", "UpdateRequest",
                        "<DialPlanEnabled>" + enabled + "</DialPlanEnabled><DialPlanId>" + id +
                            "</DialPlanId><DialPlanError>false</DialPlanError><DialPlanErrorRow>0</DialPlanErrorRow>");
}

// One "Entry" element: its id, its digit string and `more` elements after them.
inline std::string storedEntry(int id, const std::string& digits, const std::string& more = "")
{
    return "<Entry><Id>" + std::to_string(id) + "</Id><DigitString>" + digits + "</DigitString>" + more + "</Entry>";
}

inline std::string entriesWrite(const std::string& entries) { return storeRequest("DialPlanEntries", "WriteRequest", entries); }

const std::string kReadOverview = storeRequest("DialPlanOverview", "ReadRequest");
const std::string kReadEntries = storeRequest("DialPlanEntries", "ReadRequest");
const std::string kDeleteEntries = storeRequest("DialPlanEntries", "DeleteRequest");
