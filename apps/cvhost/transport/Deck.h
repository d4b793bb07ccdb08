// What the console's hands work: the built-in clip, or a player.
//
// Threads: any. No call waits.
#pragma once

#include "apps/cvhost/transport/Transport.h"

namespace cvhost::transport {

/// A deck's visible state at one moment.
struct View {
    Clip clip;
    State state;
    double place = 0;  ///< in frames, also between two
};

class Deck {
public:
    virtual ~Deck() = default;

    /// See the operations of these names in Transport.
    virtual void key(int code) = 0;
    virtual void shuttle(int speed) = 0;
    virtual void releaseRing() = 0;
    virtual void jog(std::int64_t parts) = 0;
    virtual void wheel(bool on) = 0;
    /// As it is now.
    virtual View view() = 0;
};

}  // namespace cvhost::transport
