// What the host keeps of closed serial ports.
#pragma once

namespace cvhost {

/// Lets go of every closed port, and closes and lets go of every port whose only holder is the serial library. Called by
/// the next comms_port_open, and by the host when a plug-in has been unloaded, so that no handle can be on its way to being
/// copied. Any thread.
void releaseClosedPorts();

}  // namespace cvhost
