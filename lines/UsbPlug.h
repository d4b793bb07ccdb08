// Plugging a USB device made of software into the running kernel, through its virtual host controller (vhci_hcd).
//
// Threads: any.
#pragma once

#include <string>

#include "host/core/FileDescriptor.h"

namespace lines {

struct UsbPlug {
    /// The device's end of a USB/IP connection. Closing it pulls the plug.
    cvhost::FileDescriptor device;
    int port = -1;  ///< of the controller, from 0
};

/// Plugs a full-speed device into a free port. Throws std::runtime_error if there is no such controller, no right to use it,
/// or no free port; a std::system_error if the system refused.
UsbPlug plugIn();

/// The serial port that the kernel made for the device in this port, such as "/dev/ttyUSB0"; empty if there is none yet.
std::string serialPortAt(int port);

}  // namespace lines
