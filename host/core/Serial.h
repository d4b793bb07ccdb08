// What the rest of the host asks of the serial library, beyond host/api/Comms.h. Defined by the real and the virtual host.
//
// Threads: any.
#pragma once

namespace cvhost {

/// Removes every receive handler registered with `context`. Returns when no call with it is running (except the one
/// that the calling thread is in).
void dropSerialHandlers(void* context);

}  // namespace cvhost
