// A recording as steps to be replayed.
//
// Threads: pure.
#pragma once

#include <functional>

#include "apps/recording/Recording.h"
#include "desk/Replay.h"

namespace recording {

/// What both sides said and how RTS was driven, and a mark for each event that `isMark`: its place in the list of events.
/// `rts` false: without the RTS levels, for a line that has no RTS. Throws Error if a line is damaged.
desk::Replay::Steps stepsOf(Reader reader, const std::function<bool(const Event&)>& isMark, bool rts = true);

}  // namespace recording
