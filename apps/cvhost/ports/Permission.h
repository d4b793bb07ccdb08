// What a user must do to be allowed to use a port.
//
// Threads: any.
#pragma once

#include <string>

#include "host/linux/machine/PortUse.h"

namespace cvhost::ports {

/// What the user does to be allowed to use `port`, whose rights are these; half a sentence.
std::string howToBeAllowed(const PortAccess& access, const std::string& port);

/// What ends `holder`'s use of `port`, as a command or half a sentence.
std::string howToEnd(const PortHolder& holder, const std::string& port);

}  // namespace cvhost::ports
