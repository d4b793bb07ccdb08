// What the driver's log lines say. They are its only voice, and are read here alone.
//
// Threads: pure.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace cvhost::driver::log {

/// The port on which the driver is about to look for its console.
std::optional<std::string_view> lookedForPort(std::string_view line);
/// The version of the console that has become active.
std::optional<int> activeVersion(std::string_view line);
/// Whether an attempt has ended without a console.
bool isNoConsole(std::string_view line);

/// What the driver has taken from the line in one go.
struct Read {
    std::string_view text;  ///< up to the first zero
    std::size_t count;      ///< of all its bytes
};
/// Of a line such as "CON:   ReadString: \r\nEPROM> (bytesRead: 8 timeout 0)". The driver writes it when tracing is on.
std::optional<Read> read(std::string_view line);

}  // namespace cvhost::driver::log
