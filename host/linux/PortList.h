// The machine's serial ports, as the system knows them now.
#pragma once

#include "host/api/OS.h"

namespace cvhost {

/// Adds every tty that has a device behind it to `ports`: its device node, and the product text that its USB device gives,
/// byte for byte, or null when there is none. Ports that only stand ready for hardware are left out. Any thread.
void listMachinePorts(SerialPortList& ports);

}  // namespace cvhost
