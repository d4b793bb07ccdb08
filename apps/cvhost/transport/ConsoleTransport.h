// The transport at a console: the console's handlers drive it, the console's lamps follow it.
//
// Threads: `handle` may be called on any, and calls the console on that thread; `advance` on one at a time, the
// only one that sets the speed display.
#pragma once

#include <array>
#include <functional>
#include <mutex>

#include "apps/cvhost/transport/Transport.h"
#include "host/api/ConsoleResource.h"

namespace cvhost::transport {

/// What shows of the transport at one moment.
struct View {
    State state;
    double place = 0;  ///< in frames, also between two
    bool wheel = false;
};

class ConsoleTransport {
public:
    /// Begins stopped in the middle of the clip, so that there is room in both directions. `clock` tells the time.
    ConsoleTransport(const Clip& clip, std::function<Time()> clock);

    /// The codes that `handle` does something for: the ring, the transport keys, the jog key and the jog wheel.
    static constexpr std::array codes{0, 7, 8, 9, 11, 12, 13, 15, 28, 47};

    /// Does what a host does for `code`, with the console's values at this moment. The jog key switches the wheel on or off.
    void handle(int code, iConsoleResource& console);
    /// Lets time pass, and shows the speed on the console's lamps if it has changed.
    View advance(iConsoleResource& console);

    const Clip& clip() const { return m_clip; }
    State state();

private:
    const Clip m_clip;
    const std::function<Time()> m_clock;
    std::mutex m_mutex;
    Transport m_transport;
    int m_shown = 0;  ///< the speed on the lamps
};

}  // namespace cvhost::transport
