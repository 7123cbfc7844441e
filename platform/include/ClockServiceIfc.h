#pragma once
// The clock service: the phone's local date and time, read for the dial plan log file's header.
// Implementations answer from any thread without blocking for long; the service calls them
// with its service lock held. They cannot fail: a phone without a set clock answers its
// clock's idea of the time.

class ClockServiceIfc {
public:
    virtual ~ClockServiceIfc();
    // Sets the local time of day: hour 0-23, minute and second 0-59.
    virtual void getTime(int& hour, int& minute, int& second) = 0;
    // Sets the local date: day 1-31, month 1-12, the full year (2026).
    virtual void getDate(int& day, int& month, int& year) = 0;
};
