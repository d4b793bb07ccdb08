// What the command line says to `cvhost ports`.
#pragma once

namespace cvhost::ports {

/// Of `cvhost ports`.
struct PortsOptions {
    bool json = false;
};

}  // namespace cvhost::ports
