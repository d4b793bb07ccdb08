// Actions on their way to a target.
//
// Turns of the wheel add up while they wait. Taps and scrolling are left out if the hand has stopped meanwhile. A turn that
// is sent as a number waits until the number before it has had its effect, unless another action is behind it. Of speeds in
// a row, the last one counts. If the target lets too many actions wait, all of them are replaced by one releaseAll: every
// press that it took has its release.
//
// Threads: one at a time. Nothing here allocates.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>

#include "apps/cvhost/map/Action.h"

namespace cvhost::map {

class Mailbox {
public:
    using Time = std::chrono::nanoseconds;

    static constexpr std::size_t capacity = 256;
    /// Taps and scrolling of a turn that has waited longer are left out.
    static constexpr Time longestTurnWait = std::chrono::milliseconds(50);
    /// A number of counts is sent no sooner after the one before. Of ten numbers 20 ms apart Ardour 7.3 has lost one: it
    /// goes from where it is, also while it is on its way.
    static constexpr Time sendInterval = std::chrono::milliseconds(40);

    /// `now`: on any clock that does not run backwards.
    void put(const Action& action, Time now);
    /// The next action; empty: none is due.
    std::optional<Action> take(Time now);
    bool empty() const { return m_count == 0; }
    /// Until when the next action must wait; empty: it need not. None waits with another behind it.
    std::optional<Time> heldUntil(Time now) const;

private:
    struct Letter {
        Action action;
        Time at;
    };

    Letter& at(std::size_t index) { return m_letters.at((m_first + index) % capacity); }
    const Letter& first() const { return m_letters.at(m_first); }

    std::array<Letter, capacity> m_letters{};
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    Time m_nextSend{0};
};

}  // namespace cvhost::map
