// The target that a map names.
//
// Threads: any.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "apps/cvhost/map/MpvDeck.h"
#include "apps/cvhost/map/Target.h"

namespace cvhost::map {

/// `mpv`: the deck of a map for mpv; otherwise unused. `changed` is called on any thread when the target's lamps have
/// changed. Throws TargetFailure.
std::unique_ptr<Target> makeTarget(const Application& application, MpvDeck* mpv, std::function<void()> changed);

/// The path of mpv's socket: absolute, or in $XDG_RUNTIME_DIR. Throws TargetFailure if there is no such folder.
std::string socketPath(const Application& application);

}  // namespace cvhost::map
