#pragma once
// The event telling a dialler that the dialled number is complete: the dial string is the
// number to dial. A plain value, lent to the dialler for the call it is passed to.

#include <string>

class InterDigitTimeOutEvent {
public:
    void setDialString(const std::string& digits) { m_dialString = digits; }
    const std::string& getDialString() const { return m_dialString; }

private:
    std::string m_dialString;
};
