// Everything that one call of the receive callback can meet, and what must come of it.
//
// One call takes the driver from one state of its receiver to another. Here it starts from every state, with every
// arrangement of bytes that does not end sooner; since the state after it is again one of those, what holds for one call
// holds for a stream of any length.
// Threads: one.
#pragma once

#include <string>

namespace exhaustive {

/// What was tried, and what was wrong: nothing when `difference` is empty.
struct Result {
    unsigned long tried = 0;
    std::string difference;
};

/// The bytes that the receive callback tells apart; it treats every other byte alike. `./dev check bytes` holds these
/// against the comparisons in its code.
inline constexpr unsigned char framingBytes[] = {' ', '\0'};

/// Packet mode: every count, every NUL or other byte in each place of the buffer and of the burst, every way to end.
Result checkPacketMode();
/// Packet mode: each of the 256 bytes in each place, so that bytes outside `framingBytes` are seen to be alike.
Result checkEveryByte();
/// Packet mode: the packet's handler closes the port, ends the console, starts it again.
Result checkCallsBack();
/// Boot-monitor mode: every count and every expected count.
Result checkMonitorMode();

}  // namespace exhaustive
