// Which states of the transport become events: each change of speed or marks; at rest, each change of the frame; while the
// playhead runs, one a second.
//
// Threads: one at a time.
#pragma once

#include "apps/cvhost/transport/Transport.h"

namespace cvhost::transport {

class PlayheadNews {
public:
    /// `first` needs no event.
    explicit PlayheadNews(const State& first) : m_last(first) {}

    /// Whether `state`, at `now`, becomes an event. If so, it counts as sent.
    bool take(const State& state, Time now);

private:
    State m_last;
    Time m_told{};
};

}  // namespace cvhost::transport
