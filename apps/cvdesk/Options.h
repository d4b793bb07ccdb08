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
    bool check = false;      ///< the far end that checks of a host need, in place of a desk
    std::string scriptFile;  ///< empty: no script
    std::string replayFile;  ///< empty: a desk, not a recording
};

/// The options, or the status to exit with after what there was to say has been said.
std::variant<Options, int> parseCommandLine(int argc, const char* const* argv);

}  // namespace cvdesk
