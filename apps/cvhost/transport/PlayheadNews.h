// Which states of the transport are worth an event: each change of speed, marks or, at rest, of the frame; while the
// playhead runs by itself, one a second.
//
// Threads: one at a time.
#pragma once

#include "apps/cvhost/transport/Transport.h"

namespace cvhost::transport {

class PlayheadNews {
public:
    /// `first` is known already.
    explicit PlayheadNews(const State& first) : m_last(first) {}

    /// Whether `state`, at `now`, is to be told; then it counts as told.
    bool take(const State& state, Time now);

private:
    State m_last;
    Time m_told{};
};

}  // namespace cvhost::transport
