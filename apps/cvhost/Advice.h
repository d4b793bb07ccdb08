// Why no console is active yet, and what to do about it.
#pragma once

#include <string>

#include "apps/cvhost/Hearing.h"

namespace cvhost {

struct Circumstances {
    /// The preference that lets the console be used.
    bool preferred;
    /// The console has had the time that start-up takes.
    bool waited;
};

/// One sentence, without a full stop.
std::string whyNoConsole(const Heard& heard, Circumstances circumstances);

}  // namespace cvhost
