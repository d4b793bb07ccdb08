// A console that works a deck: keys, ring and wheel move the deck, and the lamps follow it.
//
// Threads: `handle` may be called on any, and calls the console on that thread; `advance` on one at a time, the only one
// that sets the speed display.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <mutex>
#include <optional>

#include "apps/cvhost/transport/Deck.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"

namespace cvhost::transport {

class ConsoleTransport {
public:
    using Codes = std::bitset<ConsoleHandlerTable::codes>;

    explicit ConsoleTransport(Deck& deck) : m_deck(&deck) {}

    /// The codes that `handle` acts on: the ring, the transport keys, the jog key and the jog wheel.
    static constexpr std::array codes{keys::ring, keys::fastForward, keys::fastReverse, keys::markIn, keys::play,
                                      keys::stop, keys::reverse,     keys::markOut,     keys::jog,    keys::wheel};

    /// Acts on `code` with the console's present values, unless it is claimed. The jog key switches the wheel on or off.
    void handle(int code, iConsoleResource& console);
    /// The ring counts as back at its centre: what it has started ends.
    void releaseRing();
    /// From now on these codes are somebody else's. The ring among them is released.
    void setClaimed(const Codes& claimed);
    /// Returns the deck's state, and shows its speed on the console's lamps if it has changed.
    View advance(iConsoleResource& console);

    // On the thread of `advance`.

    /// From now on the console works `deck`. When this returns, the one before may end.
    void setDeck(Deck& deck);
    /// From now on somebody else sets the lamps.
    void lendLamps() { m_lent = true; }
    bool lampsLent() const { return m_lent; }
    /// What somebody else has done to the lamps that show the speed.
    enum class SpeedLamps {
        untouched,
        changed,  ///< they show the deck's speed again at once
        kept,     ///< they stay until the deck's next change
    };
    /// The lamps follow the deck again.
    void takeLampsBack(SpeedLamps left);

private:
    template <class Act>
    auto withDeck(Act act);
    bool isClaimed(int code) const {
        return code >= 0 && code < ConsoleHandlerTable::codes && m_claimed.test(static_cast<std::size_t>(code));
    }

    std::mutex m_mutex;
    Deck* m_deck;                    ///< under m_mutex
    Codes m_claimed;                 ///< under m_mutex
    std::optional<int> m_shown = 0;  ///< the speed on the lamps, if they show it
    bool m_lent = false;
};

}  // namespace cvhost::transport
