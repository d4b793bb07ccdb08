// The command line of cvdesk.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "desk/Desk.h"

namespace cvdesk {

struct NetworkAddress {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;  ///< 0 picks a free one
};

/// A USB serial adapter of this machine's kernel.
struct UsbAdapter {
    std::string product = "USB Serial Port";
};

struct Options {
    /// Where to serve: on the network, behind a symbolic link to a pseudo-terminal, or as a USB device.
    std::variant<NetworkAddress, std::string, UsbAdapter> line;
    desk::Options desk;
    bool check = false;      ///< be the far end for a host check instead of a desk
    std::string scriptFile;  ///< empty: no script
    std::string replayFile;  ///< empty: be a desk
};

/// The options; or an exit status, when help or an error has been printed.
std::variant<Options, int> parseCommandLine(int argc, const char* const* argv);

}  // namespace cvdesk
