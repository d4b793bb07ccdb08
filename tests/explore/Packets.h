// Every packet on its way from the receive callback to the decoder.
//
// The linker has the callback's calls of the decoder end here; the driver's code is as it is.
// Threads: the session's world.
#pragma once

#include "console/Console.h"

namespace explore {

class PacketListener {
public:
    /// `decode` with the packet, once; or not, or with something else.
    virtual void packet(Cv::Console& console, char* text, int length) = 0;

protected:
    ~PacketListener() = default;
};

/// Hears of every packet from now on, or nobody does and packets go straight through.
void setPacketListener(PacketListener* listener);
/// The decoder itself.
void decode(Cv::Console& console, char* text, int length);

}  // namespace explore
