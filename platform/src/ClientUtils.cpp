#include "ClientUtils.h"

#include <cstdlib>
#include <limits>

bool ClientUtils::stringToUnsignedShort(const std::string& text, unsigned short& value)
{
    value = 0;
    if (text.empty()) return false;
    unsigned long number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return false;
        number = number * 10 + static_cast<unsigned long>(c - '0');
        if (number > 65535) return false;
    }
    value = static_cast<unsigned short>(number);
    return true;
}

unsigned int ClientUtils::stou(const std::string& text)
{
    // Read wide and saturate, so that a number too large for 32 bits (or a negative one,
    // which the C conversion wraps round) gives the largest value on every platform
    // instead of whatever is left after truncation.
    const unsigned long long value = std::strtoull(text.c_str(), nullptr, 10);
    return value > std::numeric_limits<unsigned int>::max() ? std::numeric_limits<unsigned int>::max()
                                                             : static_cast<unsigned int>(value);
}

std::string ClientUtils::itos(int value) { return std::to_string(value); }

std::string ClientUtils::btos(bool value) { return value ? "true" : "false"; }
