// The rare situations that random sessions are there to reach. One that many seeds never reach is one that nobody tests.
//
// Threads: the session's world.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "console/Console.h"
#include "host/sim/Recording.h"

namespace explore {

enum class Situation {
    exitDuringWait,
    exitDuringPause,
    exitInHandler,
    packetDuringExit,
    initDuringStartUp,
    initWhileActive,
    secondReset,
    sixthRequest,
    noVersion,
    eightAttempts,
    unwantedAgain,
    portNotOpened,
    portWithError,
    lostDuringStartUp,
    lostWhileActive,
    versionWhileActive,
    packetOfElevenCharacters,
    keyQueueFull,
    tableGoneDuringCall
};

inline constexpr std::array situationNames = {
    "exit() during a wait of the start-up",
    "exit() during a pause of the start-up",
    "exit() in a handler",
    "a packet is decoded during exit()",
    "init() while the start-up runs",
    "init() while the console is active",
    "the second reset of an attempt",
    "the version at the sixth request",
    "no version after six requests",
    "eight attempts on one port",
    "the preference ends the start-up",
    "no port, and a second's pause",
    "a port that opened with an error",
    "the port is lost during the start-up",
    "the port is lost while the console is active",
    "a version while the console is active",
    "a packet as long as the buffer",
    "the key queue is full",
    "the handler table goes during a call",
};
static_assert(situationNames.size() == static_cast<std::size_t>(Situation::tableGoneDuringCall) + 1);

/// A bit for each.
using SituationSet = std::uint32_t;
static_assert(situationNames.size() <= 32);

constexpr SituationSet setOf(Situation situation) { return SituationSet{1} << static_cast<unsigned>(situation); }

/// Those that a session has reached.
class Situations {
public:
    SituationSet reached() const { return m_reached; }
    void reach(Situation situation) { m_reached |= setOf(situation); }
    void reachIf(bool is, Situation situation) {
        if (is) reach(situation);
    }
    /// Calls exit().
    void exit(Cv::Console& console);
    /// A packet is about to be decoded; `active`: the console is.
    void packet(std::string_view text, bool active);
    /// What the recording shows; `active`: the console is.
    void watch(const sim::Entry& entry, bool active);

private:
    void watchStartUp(const sim::Entry& entry);

    SituationSet m_reached = 0;
    bool m_exiting = false;
    std::string m_lastOfStartUp;  ///< its last call; empty while there is no such thread
    bool m_startUpRuns = false;
    unsigned m_resets = 0;    ///< of this attempt
    unsigned m_requests = 0;  ///< for the version, of this attempt
    unsigned m_attempts = 0;  ///< on this port
};

}  // namespace explore
