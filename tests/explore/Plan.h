// What a session is made of: everything that its seed decides before it begins.
//
// Threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "desk/Desk.h"
#include "host/sim/Random.h"
#include "host/sim/Scheduler.h"

namespace explore {

/// Kinds of trouble, as a set.
namespace fault {
constexpr unsigned bytes = 1U << 0;    ///< lost, doubled and flipped on the line
constexpr unsigned noise = 1U << 1;    ///< bursts of any bytes, runs of 0xFF and NUL
constexpr unsigned bursts = 1U << 2;   ///< arrived bytes are held back and handed over together
constexpr unsigned writes = 1U << 3;   ///< writes that fail
constexpr unsigned ports = 1U << 4;    ///< that do not open, open with an error, vanish, come and go in the list
constexpr unsigned console = 1U << 5;  ///< power-cycled, silent, without a monitor, slow, its RTS stuck
/// Preferences flipped, exit() and init() at any point, handlers that call back, a full key queue, a handler table that
/// comes and goes.
constexpr unsigned host = 1U << 6;
constexpr unsigned stalls = 1U << 7;  ///< threads that are held up for long
constexpr unsigned all = (1U << 8) - 1;
}  // namespace fault
using Faults = unsigned;

/// A comma-separated list of fault names, "all" or "none"; nothing when a name is unknown.
std::optional<Faults> faultsFromText(std::string_view text);
/// The names of a set, "none" when it is empty.
std::string describe(Faults faults);
/// All names, for a help text.
std::string faultNames();

/// What is broken on purpose, to see that it is found.
enum class Canary {
    none,
    lostKey,
    inventedKey,
    lostRelease,
    longPacket,
    lostLamp,
    lampOnAfterExit,
    chatter,
    leak,
    hang,
    crash
};
std::optional<Canary> canaryFromText(std::string_view text);

struct Plan {
    /// `mix`: the faults that may be chosen from.
    Plan(std::uint64_t seed, Faults mix);

    bool has(Faults some) const { return (faults & some) != 0; }
    /// Nothing is wrong between host and console, and neither is slow.
    bool healthyLine() const {
        return !has(fault::bytes | fault::noise | fault::writes | fault::ports | fault::console | fault::stalls);
    }
    bool healthy() const { return healthyLine() && !has(fault::host); }

    std::uint64_t seed;
    Faults faults;
    sim::Schedule schedule;
    desk::Options desk;
    bool debug = false;
    bool autoJog = true;
    int autoJogLevel = 6;
    /// Things done by the editor, the operator and those who make trouble, each.
    int steps = 0;
};

/// "BeyondPlayMultiplier" for the process that runs this seed; the same for `seedsPerProcess` seeds in a row.
double multiplierFor(std::uint64_t seed);
inline constexpr std::uint64_t seedsPerProcess = 256;

}  // namespace explore
