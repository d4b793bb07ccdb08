// Messages of Open Sound Control 1.0 as bytes.
//
// Threads: all functions are pure.
#pragma once

#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "apps/cvhost/map/Map.h"

namespace cvhost::map {

/// The longest packet that UDP carries.
inline constexpr std::size_t longestPacket = 65'507;

/// Calls `hear` for each message whose first argument is a number, or true or false (1 or 0), with its address and that
/// number. Bundles in bundles
/// are read down to a depth of 4. What is broken is left out.
void readPacket(std::span<const char> packet, const std::function<void(std::string_view address, double value)>& hear);

std::vector<char> packetOf(const OscMessage& message);

}  // namespace cvhost::map
