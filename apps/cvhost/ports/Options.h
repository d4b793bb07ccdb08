// What the command line says to `cvhost ports`.
#pragma once

namespace cvhost {

/// Of `cvhost ports`.
struct PortsOptions {
    bool json = false;
};

}  // namespace cvhost
