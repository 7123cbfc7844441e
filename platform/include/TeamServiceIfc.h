#pragma once
// The team service: per-line hot line / warm line programming.

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
