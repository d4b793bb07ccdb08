// The least host that the driver's receive path runs on: one thread, and a port whose bytes lie in memory.
//
// Threads: one.
#pragma once

#include <string_view>

#include "console/Console.h"

namespace Cv {

/// Gives a console what it has once it is up.
struct ConsoleTestAccess {
    static void bringUp(Console& console);
};

}  // namespace Cv

namespace bench {

/// What comms_getc gives from now on; the bytes stay where they are.
void setLine(std::string_view bytes);

}  // namespace bench
