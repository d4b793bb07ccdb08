// The built-in clip, driven by a clock.
//
// Threads: any.
#pragma once

#include <functional>
#include <mutex>

#include "apps/cvhost/transport/Deck.h"

namespace cvhost::transport {

class ClipDeck final : public Deck {
public:
    /// Begins stopped in the middle of the clip, so that there is room in both directions. `clock` returns the time.
    ClipDeck(const Clip& clip, std::function<Time()> clock)
        : m_clock(std::move(clock)), m_transport(clip, clip.frames / 2) {}

    void key(int code) override;
    void shuttle(int speed) override;
    void releaseRing() override;
    void jog(std::int64_t parts) override;
    void wheel(bool on) override;
    View view() override;

private:
    const std::function<Time()> m_clock;
    std::mutex m_mutex;
    Transport m_transport;
};

}  // namespace cvhost::transport
