#pragma once
// The phone's data access service: a store answering XML request texts synchronously. The
// digit analysis service keeps its dial plan there (overview and entries, docs/platform.md).

#include <string>

class DataAccessServiceIfc {
public:
    virtual ~DataAccessServiceIfc();
    // Handles one request text (read, write, update or delete of a schema's rows) and returns
    // the response text; blocks until the store has answered, and a write is durable when it
    // returns. Any thread; the service calls it with its service lock held, so it must not call
    // the service back. Failure is in the response text (an empty or error response), never
    // an exception. The request is the caller's; the response is the caller's copy.
    virtual std::string processRequest(const std::string& request) = 0;
};

// Names shared by the data access service and its clients (texts in docs/platform.md);
// constants, defined before main runs.
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
