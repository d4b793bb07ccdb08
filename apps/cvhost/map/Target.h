// What a map works in an application.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>

#include "apps/cvhost/map/Action.h"

namespace cvhost::map {

/// Why a target does not work: a sentence without a full stop.
struct TargetFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Target {
public:
    virtual ~Target() = default;

    /// Does what the map asks for, on the target's own thread. May take as long as the application takes, but must return.
    /// Throws TargetFailure.
    virtual void take(const Action& action) = 0;

    /// The lamps that the application's state lights. Any thread.
    virtual Lamps lamps() const { return {}; }
    /// Why the application cannot be reached now: a sentence without a full stop. The target tries again by itself. Any
    /// thread.
    virtual std::optional<std::string> trouble() const { return std::nullopt; }
};

}  // namespace cvhost::map
