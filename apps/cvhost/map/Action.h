// What a map asks of its target.
//
// Threads: plain values.
#pragma once

#include <bitset>
#include <cstdint>

#include "apps/cvhost/map/Map.h"

namespace cvhost::map {

/// By their numbers.
using Lamps = std::bitset<common::lampCount + 1>;

struct Action {
    enum class Kind : std::uint8_t {
        press,       ///< hold `stroke` until the release with the same `hold`
        release,     ///< a release without a press does nothing
        tap,         ///< press and release `stroke`
        turn,        ///< do what `wheel` says, `amount` times
        speed,       ///< run at the speed `amount`, sent with `stroke`; 1024 is play
        releaseAll,  ///< nothing is held any more
    };

    Kind kind;
    std::uint8_t hold = 0;  ///< the desk key's code
    Stroke stroke{};
    WheelAction wheel{};
    int amount = 0;  ///< counts, or if it scrolls, scrollUnits of a count; negative backward

    /// A count of the wheel scrolls by this many units, as input devices with fine wheels count.
    static constexpr int scrollUnits = 120;

    bool operator==(const Action&) const = default;
};

}  // namespace cvhost::map
