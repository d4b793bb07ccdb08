// Why no console is active yet, and what to do about it.
#pragma once

#include <string>

#include "apps/cvhost/Hearing.h"
#include "host/linux/PortUse.h"

namespace cvhost {

struct Circumstances {
    /// The preference that lets the console be used.
    bool preferred;
    /// The console has had the time that start-up takes.
    bool waited;
};

/// What the user does to be allowed to use `port`, whose rights are these; half a sentence.
std::string howToBeAllowed(const PortAccess& access, const std::string& port);

/// One sentence, without a full stop.
std::string whyNoConsole(const Heard& heard, Circumstances circumstances);

}  // namespace cvhost
