#pragma once
// The team service: per-line hot line / warm line programming. Any thread; the service asks it
// with its service lock held when dialling starts, so it must answer without calling the
// service back. It cannot fail: a line it does not know has type 0 and destination "??".

#include <string>

class TeamServiceIfc {
public:
    virtual ~TeamServiceIfc();
    // 0 none, 1 hot line, 2 warm line, 3 hot line (over the phone setting),
    // 4 warm line (over the phone setting), 5 neither (suppresses the phone setting).
    virtual int getHotWarmLineType(const std::string& line) = 0;
    // The programmed destination, or "??" when there is none.
    virtual std::string getHotWarmLineDestination(const std::string& line) = 0;
};
