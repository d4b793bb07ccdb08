// Network serial ports.
//
// Threads: any.
#pragma once

#include <string_view>

#include "host/linux/serial/SerialTransport.h"

namespace cvhost {

inline constexpr std::string_view rfc2217Prefix = "rfc2217://";

/// Whether `name` is "rfc2217://host:port" or "rfc2217://[address]:port", with a port from 1 to 65535.
bool isRfc2217Name(std::string_view name);

/// Connects to a network serial port, `name` being "rfc2217://host:port" or "rfc2217://[address]:port", and asks for
/// `settings`. Takes four seconds at most beyond looking the host up. A peer that answers no offer, or refuses serial-port
/// control, is used all the same; one that closes the connection before it has answered is not.
OpenedTransport openRfc2217(std::string_view name, const LineSettings& settings);

}  // namespace cvhost
