// Serial ports that are ttys of this machine.
//
// Threads: any.
#pragma once

#include "host/linux/serial/SerialTransport.h"

namespace cvhost {

/// Opens the tty `path` without waiting for a carrier, for this process alone, raw, without flow control, at `settings`.
/// Its modem lines are left alone when it is closed.
OpenedTransport openTermios(const std::string& path, const LineSettings& settings);

}  // namespace cvhost
