// Text from the line, the log and the machine, made safe to show.
//
// Threads: all functions are pure.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace common {

/// `text` as a JSON string with its quotes. What is not printable, and every byte that is not UTF-8, becomes an escape.
std::string jsonText(std::string_view text);

/// `bytes` as a JSON string with its quotes, one character a byte; other than printable ASCII becomes "\u00NN".
std::string jsonBytes(std::span<const unsigned char> bytes);

/// `text` for a terminal: what is not printable, and every byte that is not UTF-8, becomes "\xNN".
std::string plainText(std::string_view text);

/// `bytes` for a terminal: other than printable ASCII becomes "\r", "\n" or "\xNN".
std::string plainBytes(std::span<const unsigned char> bytes);

}  // namespace common
