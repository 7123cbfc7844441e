#include "Serializer.h"

void Serializer::serialize(std::string& out, const std::string& value, bool withTypeTag)
{
    if (withTypeTag) out += 's';
    out += std::to_string(value.size());
    out += ':';
    out += value;
}

bool Serializer::deserialize(const std::string& in, std::size_t& position, std::string& value, bool withTypeTag)
{
    std::size_t at = position;
    if (withTypeTag) {
        if (at >= in.size() || in[at] != 's') return false;
        ++at;
    }
    std::size_t length = 0;
    const std::size_t digitsStart = at;
    while (at < in.size() && in[at] >= '0' && in[at] <= '9') {
        if (at - digitsStart >= 9) return false;  // longer than any message we carry
        length = length * 10 + static_cast<std::size_t>(in[at] - '0');
        ++at;
    }
    if (at == digitsStart || at >= in.size() || in[at] != ':') return false;
    ++at;
    if (in.size() - at < length) return false;
    value.assign(in, at, length);
    position = at + length;
    return true;
}
