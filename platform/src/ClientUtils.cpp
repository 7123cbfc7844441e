#include "ClientUtils.h"

#include <cstdlib>

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
    return static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, 10));
}

std::string ClientUtils::itos(int value) { return std::to_string(value); }

std::string ClientUtils::btos(bool value) { return value ? "true" : "false"; }
