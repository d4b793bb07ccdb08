// Console packets as the log's format text.
//
// Threads: any.
#pragma once

namespace Cv {

/// Writes `packet` to the log as the format text itself: a "%" in it is interpreted. Each conversion gets something
/// harmless: a number 0, an empty text, a place to write to. A packet that no argument could make harmless (an argument
/// by position, a field of four or more digits, no conversion of the language) is written as it stands.
void logPacket(const char* packet);

}  // namespace Cv
