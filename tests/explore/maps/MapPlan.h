// What a session of a map is made of: random maps, and what is broken on purpose.
//
// Threads: one at a time.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/cvhost/map/Map.h"
#include "host/sim/Random.h"

namespace explore_maps {

using cvhost::map::TargetKind;

/// What is broken on purpose, to see that it is found.
enum class Canary {
    none,
    lostPress,        ///< on the way to the map
    lostRelease,      ///< on the way to the map
    lostUnplug,       ///< on the way to the map
    keptOnRelease,    ///< the target is not asked to release everything
    inventedPress,    ///< the target is asked for it
    stuckKey,         ///< in the target: it forgets a release
    swapped,          ///< the target is asked to release before the press
    doublePress,      ///< the target presses a key that is down
    deafAfterChange,  ///< a changed map does nothing
    waits,            ///< the desk waits for a target that hangs
};
std::optional<Canary> canaryFromText(std::string_view name);

/// The one code among the keys' that the desk has no key for.
inline constexpr int noKey = 22;

// Keys of the desk that do the same in every map and every layer.

/// Its tap marks that the target has done all before.
inline constexpr int markKey = 46;
/// Its tap is for a target that hangs to hang in.
inline constexpr int hangKey = 45;
/// These hold something.
inline constexpr std::array plainKeys{1, 2, 3};

/// The stroke that markKey taps.
std::string markOf(TargetKind kind);

/// Makes maps for one target.
class MapMaker {
public:
    MapMaker(TargetKind kind, int oscPort) : m_kind(kind), m_oscPort(oscPort) {}

    std::string make(sim::Random& random) const;

private:
    std::string plain() const;
    std::string stroke(sim::Random& random) const;
    std::string taps(sim::Random& random) const;
    std::string keys(sim::Random& random, const std::vector<int>& used) const;
    std::string ring(sim::Random& random) const;
    std::string wheel(sim::Random& random) const;

    TargetKind m_kind;
    int m_oscPort;
};

}  // namespace explore_maps
