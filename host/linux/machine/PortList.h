// The machine's serial ports, as the system knows them now, and the port list that plug-ins see. No port is opened.
//
// Threads: any.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/api/OS.h"

namespace cvhost {

/// What the system's device database says of one port. A text that it does not give is empty.
struct MachinePort {
    std::string node;                      ///< the device node, such as "/dev/ttyUSB0"
    std::optional<std::string> product{};  ///< the product text that the port's USB device gives, byte for byte
    std::string vendorId{};                ///< four hexadecimal digits, of the USB device
    std::string productId{};               ///< likewise
    std::string serialNumber{};            ///< of the USB device
    std::string byPath{};                  ///< the link that names the port by the socket it is plugged in at
    std::vector<std::string> byPaths{};    ///< all such links, byPath first; from systemd 254 on there may be two
    std::string driver{};                  ///< the kernel's driver of the hardware
    std::optional<int> latencyMs{};        ///< how long the adapter collects bytes before it hands them over
    bool leftAloneByModemManager = false;  ///< the device database says that the program must not open it
};

/// Every tty that has a device behind it, in the order of their nodes. Ports that only wait for hardware are left
/// out.
std::vector<MachinePort> machinePorts();

/// The node of the port whose USB device has this serial number, or that a link of this name in /dev/serial/by-id or
/// /dev/serial/by-path leads to; of several, the first node. Empty if there is none.
std::string portCalled(const std::string& name);

/// What the system's device database holds of the port (its node, or a link to it) and of the devices above it: for each
/// device a line with its place and a line KEY=value for each property. Empty if it is none of the machine's ports.
std::string deviceProperties(const std::string& port);

/// A serial port as the port list shows it. Without a description, `description` is empty.
struct ShownPort {
    std::string name;
    std::string description;
};
/// Makes `ports` the whole port list, in place of the machine's own.
void showOnlyPorts(std::vector<ShownPort> ports);
/// The machine's own ports are the port list again, as at first.
void showMachinePorts();

/// Adds the port list to `ports`: each port's name, and its description or null.
void listPorts(SerialPortList& ports);

}  // namespace cvhost
