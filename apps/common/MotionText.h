// Speeds and jog movements in words.
//
// Threads: any.
#pragma once

#include <string>

namespace common {

/// A speed in words: "×1.46 forward".
std::string speedWords(int speed);
/// The same with a scale before it.
std::string speedText(int speed);
/// A jog movement in counts: "+2", "-1.5".
std::string jogText(double counts);

}  // namespace common
