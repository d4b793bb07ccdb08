// `cvhost ports`: shows the machine's serial ports and which one the driver will choose.
//
// Threads: the application's main thread.
#pragma once

#include "apps/cvhost/ports/Options.h"

namespace cvhost::ports {

/// The program's exit status: 0, or 1 when the driver could not be asked.
int showPorts(const PortsOptions& options);

}  // namespace cvhost::ports
