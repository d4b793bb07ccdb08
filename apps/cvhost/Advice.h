// Why no console is active yet, and what to do about it.
#pragma once

#include <string>

#include "apps/cvhost/Hearing.h"

namespace cvhost {

/// One sentence, without a full stop. `preferred`: the preference that lets the console be used is on.
std::string whyNoConsole(const Heard& heard, bool preferred);

}  // namespace cvhost
