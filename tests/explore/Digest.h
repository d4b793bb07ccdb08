// A number for everything that a session has recorded, so that two runs of it can be compared.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <string_view>

#include "host/sim/Recording.h"

namespace explore {

inline std::uint64_t digestOf(const sim::Recording& recording) {
    std::uint64_t digest = 0xCBF2'9CE4'8422'2325;
    const auto mix = [&](std::string_view bytes) {
        for (const char byte : bytes) digest = (digest ^ static_cast<unsigned char>(byte)) * 0x100'0000'01B3;
    };
    for (const sim::Entry& entry : recording) {
        digest = (digest ^ static_cast<std::uint64_t>(entry.at.count())) * 0x100'0000'01B3;
        mix(entry.thread);
        mix(entry.text);
        mix(entry.format);
    }
    return digest;
}

}  // namespace explore
