// Plugging a USB device made of software into the running kernel, through its virtual host controller (vhci_hcd).
//
// Threads: any.
#pragma once

#include <string>

#include "lines/FileDescriptor.h"

namespace lines {

struct UsbPlug {
    /// The device's end of a USB/IP connection. Closing it is pulling the plug.
    FileDescriptor device;
    int port = -1;  ///< of the controller, from 0
};

/// Plugs a full-speed device into a free port. Throws std::runtime_error (where the system refused, a std::system_error)
/// when there is no such controller, no right to use it, or no free port.
UsbPlug plugIn();

/// The serial port that the kernel has made of what is plugged in there, such as "/dev/ttyUSB0"; empty while there is none.
std::string serialPortAt(int port);

}  // namespace lines
