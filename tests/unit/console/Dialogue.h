// The boot monitor's dialogue with every kind of reply: too short, too long, wrong in any place, late from any place on.
//
// Threads: one.
#pragma once

#include "tests/unit/console/Framing.h"

namespace exhaustive {

/// ReadString alone: every length against every number of bytes there, into a buffer between guards.
Result checkReads();
/// The prompt: right, wrong and NUL bytes in all places, any length, a pause before any byte, any count left over.
Result checkPrompts();
/// The answer to the jump.
Result checkJumps();
/// The answer to the check-value command, and its digits.
Result checkCheckValues();
/// Reset, prompt, identification: all marks of the model, all lengths.
Result checkIdentifications();
/// From the reset to the version.
Result checkStarts();

}  // namespace exhaustive
