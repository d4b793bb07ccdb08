// What the transport plays: a number of frames at an exact rate.
//
// Pure values; threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace cvhost::transport {

/// Frames a second, as a fraction in lowest terms: 29.97 is 30000/1001.
struct Rate {
    std::int64_t numerator = 25;   ///< 1 to 240,000
    std::int64_t denominator = 1;  ///< 1 to 1001

    /// Frames in a second of timecode: the rate, rounded up.
    int nominal() const { return static_cast<int>((numerator + denominator - 1) / denominator); }

    bool operator==(const Rate&) const = default;
};

struct Clip {
    static constexpr std::int64_t mostFrames = 100'000'000;  ///< 46 days at 25 a second

    std::int64_t frames = 15'000;  ///< 1 to mostFrames; ten minutes at 25 a second
    Rate rate;

    std::int64_t lastFrame() const { return frames - 1; }

    bool operator==(const Clip&) const = default;
};

/// A rate from 1 to 240: "25", "12.5", "30000/1001". 23.976, 29.97, 47.952, 59.94 and 119.88 mean the exact fractions.
std::optional<Rate> rate(std::string_view text);

/// "FRAMES@RATE".
std::optional<Clip> clip(std::string_view text);

}  // namespace cvhost::transport
