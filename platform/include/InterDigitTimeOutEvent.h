#pragma once
// The event telling a dialler that the dialled number is complete.

#include <string>

class InterDigitTimeOutEvent {
public:
    void setDialString(const std::string& digits) { m_dialString = digits; }
    const std::string& getDialString() const { return m_dialString; }

private:
    std::string m_dialString;
};
