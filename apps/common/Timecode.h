// How the place of a frame is written.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace common {

/// Hours, minutes, seconds and frames: "00:10:00:00". No frame number is left out.
std::string timecode(std::int64_t frame, int framesPerSecond);

}  // namespace common
