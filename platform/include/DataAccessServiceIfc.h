#pragma once
// The phone's data access service: a store answering XML request texts synchronously.

#include <string>

class DataAccessServiceIfc {
public:
    virtual ~DataAccessServiceIfc();
    // Handles one request text and returns the response text.
    virtual std::string processRequest(const std::string& request) = 0;
};

// Names shared by the data access service and its clients (texts in docs/platform.md).
struct DASUtilsStrings {
    static const std::string ReadRequest;
    static const std::string WriteRequest;
    static const std::string UpdateRequest;
    static const std::string DeleteRequest;

    static const std::string DialPlanOverviewSchema;
    static const std::string DialPlanEntriesSchema;

    static const std::string DigitStringTagName;
    static const std::string ActionTagName;
    static const std::string MinimumDigitLengthTagName;
    static const std::string MaximumDigitLengthTagName;
    static const std::string TimerTagName;
    static const std::string TerminatorTagName;
    static const std::string SpecialNumberTagName;
    static const std::string CommentTagName;
    static const std::string TerminatorSentTagName;
};
