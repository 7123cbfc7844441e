#pragma once
// String serialisation used in framework messages: "<length>:<bytes>", optionally
// preceded by the type tag "s" (see docs/platform.md).

#include <cstddef>
#include <string>

// Pure functions: any thread, no lock, no state.
class Serializer {
public:
    // Appends the serial form of `value` to `out`.
    static void serialize(std::string& out, const std::string& value, bool withTypeTag);
    // Reads one serial form from `in` at `position` into `value`, advancing `position`;
    // false (value and position unchanged) when the text there is not one.
    [[nodiscard]] static bool deserialize(const std::string& in, std::size_t& position, std::string& value,
                            bool withTypeTag);
};
