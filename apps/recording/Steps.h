// A recording as steps to be replayed.
//
// Threads: pure.
#pragma once

#include <functional>

#include "apps/recording/Recording.h"
#include "desk/Replay.h"

namespace recording {

/// What both sides sent and how RTS changed, and a mark for each event that `isMark` accepts: its index in the list of
/// events. `rts` false leaves the RTS levels out, for a line without RTS. Throws Error if a line is damaged.
desk::Replay::Steps stepsOf(Reader reader, const std::function<bool(const Event&)>& isMark, bool rts = true);

}  // namespace recording
