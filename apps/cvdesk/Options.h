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

struct Options {
    /// Where to serve: on the network, or behind a symbolic link to a pseudo-terminal.
    std::variant<NetworkAddress, std::string> line;
    desk::Options desk;
    std::string scriptFile;  ///< empty: no script
};

/// The options, or the status to exit with after what there was to say has been said.
std::variant<Options, int> parseCommandLine(int argc, const char* const* argv);

}  // namespace cvdesk
