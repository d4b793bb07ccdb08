// Numbers as the console writes them.
#pragma once

#include <string>

namespace desk {

/// The last `digits` hexadecimal digits of `value`, in capitals.
inline std::string hex(unsigned value, int digits) {
    std::string text;
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[value >> shift & 15U];
    return text;
}

}  // namespace desk
