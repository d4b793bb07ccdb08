// How LogBoth makes a text, and where the text goes.
//
// Threads: any thread.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <span>
#include <string_view>

namespace cvhost {

/// Room for the text of one LogBoth call and a terminating zero.
inline constexpr std::size_t logLineSize = 1024;

/// Formats as printf does in the C locale, in bounded time and memory whatever `format` says, and returns the text within
/// `buffer`. %ls gives the text's own bytes (host/core/Text.h). %n takes its argument and writes nothing. A text too long
/// is cut between characters and keeps the format's final newline. A format that is malformed or numbers its arguments
/// gives the format itself.
std::string_view formatText(std::span<char, logLineSize> buffer, const char* format, std::va_list arguments);

/// Puts one call's text where the host's log goes. Defined by the real and the virtual host; called without a lock.
void writeLog(const char* format, std::string_view text);

}  // namespace cvhost
