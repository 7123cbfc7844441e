#pragma once
// Records and codes shared by the digit analysis service, its clients and the framework.

#include <cstdint>
#include <string>

// Result of dialString: what the dialler is to do with the digits.
enum DigitAnalysisMatch : int {
    eMatchFull = 0,             // the digits form a complete number: send it now
    eMatchNone = 1,             // not complete (or refused): keep dialling
    eMatchEmergencyNumber = 2,  // an emergency number dialled while the phone is locked
};

// What the dial plan says about the digits dialled so far.
enum DialPlanAction : int {
    DIAL_PLAN_ACTION_UNDEFINED = 0,
    DIAL_PLAN_ACTION_NONE = 1,
    DIAL_PLAN_ACTION_START_TIMER = 2,
    DIAL_PLAN_ACTION_START_TIMER_EMERGENCY = 3,
    DIAL_PLAN_ACTION_START_TIMER_LOCKBYPASS = 4,
    DIAL_PLAN_ACTION_SEND = 5,
    DIAL_PLAN_ACTION_SEND_EMERGENCY = 6,
    DIAL_PLAN_ACTION_SEND_LOCKBYPASS = 7,
};

// Marks a digit length or timer that the configuration did not give.
constexpr std::uint32_t DIAL_PLAN_VALUE_NOT_SET = 255;

// One dial plan row.
struct t_dialPlanEntry {
    std::string digitString;                            // pattern; "x"/"X" match any one character
    std::string action;                                 // "S" send or "C" check
    std::uint32_t minDigitLength = DIAL_PLAN_VALUE_NOT_SET;
    std::uint32_t maxDigitLength = DIAL_PLAN_VALUE_NOT_SET;
    std::uint32_t timer = DIAL_PLAN_VALUE_NOT_SET;      // seconds
    std::string terminator;                             // one character, or empty for none
    std::string specialNumberIndication;                // "E" emergency, "b" lock bypass
    std::string comment;
    bool terminatorSent = false;                        // keep the terminator in the sent digits
};
