// What an application asks of the serial library's ports, beyond what plug-ins ask.
//
// Threads: any.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace cvhost {

/// Closes every open port that only the serial library references, and releases every closed one that only it references,
/// except while the port's handler runs. The host calls this when a plug-in has been unloaded, so that no handle can be on
/// its way to being copied. Returns false if it left a closed port because its handler runs.
bool releaseClosedPorts();

/// Treats the open port `name` as lost, for a reason (a system's error number) that the port itself does not see: its device
/// has gone, or the console behind it has begun anew.
void losePort(std::string_view name, int error);
/// What a port that is lost receives last, as if it had arrived: bytes that end a packet which the loss has cut off. A
/// plug-in that keeps the beginning would take it for the beginning of what the console says when it is back. Empty at
/// first.
void setLastWords(std::string bytes);

/// Gives the device or network port to open for a port's name. Called for each opening, so that a name can be followed to
/// another device. The port keeps the name that it was opened by. At first each name stands for itself. Set it while no port
/// is being opened.
void setPortFinder(std::function<std::string(const std::string& name)> finder);

/// While `shut`, opening a port fails at once and nothing is touched: for asking a driver which port it would open.
void keepPortsShut(bool shut);

}  // namespace cvhost
