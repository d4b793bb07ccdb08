// Text from the line, the log and the machine, made safe to show.
//
// Threads: all functions are pure.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "host/core/Escape.h"

namespace common {

inline std::string_view viewOf(std::span<const unsigned char> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// `text` for a terminal: what is not printable, and every byte that is not UTF-8, becomes "\r", "\n" or "\xNN".
inline std::string plainText(std::string_view text) {
    return cvhost::escapedText(text, {.hexHead = "\\x", .named = "\n\r"});
}

/// `bytes` for a terminal: other than printable ASCII becomes "\r", "\n" or "\xNN".
inline std::string plainBytes(std::span<const unsigned char> bytes) {
    return cvhost::escapedBytes(viewOf(bytes), {.hexHead = "\\x", .named = "\n\r"});
}

}  // namespace common
