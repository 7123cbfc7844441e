#pragma once
// The clock service: the phone's local date and time.

class ClockServiceIfc {
public:
    virtual ~ClockServiceIfc();
    virtual void getTime(int& hour, int& minute, int& second) = 0;
    virtual void getDate(int& day, int& month, int& year) = 0;
};
