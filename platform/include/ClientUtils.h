#pragma once
// Conversions between configuration texts and numbers or flags. Pure functions: any thread,
// no lock, no state.

#include <string>

class ClientUtils {
public:
    // The decimal number the text holds. True when the whole text is a number from 0 to
    // 65535; otherwise `value` is set to 0 and the result is false.
    [[nodiscard]] static bool stringToUnsignedShort(const std::string& text, unsigned short& value);
    // The leading decimal number of the text (0 when there is none), as strtoul reads it
    // (leading blanks and a sign allowed); beyond 4294967295, or negative, 4294967295.
    static unsigned int stou(const std::string& text);
    // The decimal text of `value` ("-12").
    static std::string itos(int value);
    // "true" or "false", as flags are written in configuration items.
    static std::string btos(bool value);
};
