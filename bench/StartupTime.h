// What the time from init() to an active console is made of, for a console that does all at once that it is asked.
//
// A prompt, three commands to the monitor and the version request follow one another, each when the answer before it is
// complete; a byte takes ten bits at 9600 baud.
#pragma once

#include <chrono>

#include "desk/Desk.h"

namespace bench {

/// RTS is held low.
inline constexpr std::chrono::nanoseconds fixedWaits = std::chrono::milliseconds(200);

/// Bytes that nothing else happens beside: the prompt; "H ", its last echo one byte behind; CR, its echo and the identity;
/// "J 0100 0", its last echo one behind; CR, its echo and a line's end; "F2 ", five blanks and "? "; the version.
inline constexpr int bytesInTurn = 8 + (2 + 1) + (1 + 1 + 30) + (8 + 1) + (1 + 1 + 2) + (3 + 5 + 2) + 5;
static_assert(bytesInTurn == 71);

inline constexpr std::chrono::nanoseconds onTheWire = bytesInTurn * desk::byteTime;

}  // namespace bench
