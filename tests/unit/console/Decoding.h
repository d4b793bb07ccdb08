// Every packet in every state that a console can be in, against the model of the protocol.
//
// Threads: one.
#pragma once

#include "tests/unit/console/Framing.h"

namespace exhaustive {

/// Active or not, and the version heard: nothing heard yet; 6 or 7 heard; the same after exit().
inline constexpr int activities = 5;

/// All packets of up to three characters, all 256 bytes in each place, in one of `activities` with all else that decides.
Result checkShortPackets(int activity);
/// The same with tracing on, for a console of version 7.
Result checkTracedPackets();
/// Packets of one and two characters, with and without handlers, with and without a key that waits.
Result checkKeys();
/// The version's digits: each of the 256 bytes in each of the three places together.
Result checkVersions();
/// The status field by field: every position with every count, every byte in the place of every digit, every position after
/// every kind of speed before, fine counts that decide; both forms; every other length.
Result checkStatus();
/// Every count with every fine count.
Result checkCountsAndFineCounts();
/// A packet behind tildes.
Result checkForwarded();
/// Handlers that call back, each call from each handler.
Result checkHandlersCallBack();

}  // namespace exhaustive
