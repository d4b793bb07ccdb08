// cvhost ctl: watches and works a cvhost that runs.
#pragma once

#include "apps/cvhost/control/Options.h"

namespace cvhost::control {

/// Prints what was asked for. The program's exit status.
int runCtl(const CtlOptions& options);

}  // namespace cvhost::control
