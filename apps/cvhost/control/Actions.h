// What clients have done to the console: through the driver, and by the simulated desk's keys.
//
// Threads: the application's main thread.
#pragma once

#include <bitset>
#include <cstddef>
#include <string>

#include "apps/cvhost/control/Command.h"
#include "apps/cvhost/transport/ConsoleTransport.h"
#include "host/api/ConsoleResource.h"
#include "lines/DeskServer.h"

namespace cvhost::control {

class Actions {
public:
    struct Stage {
        iConsoleResource& console;
        transport::ConsoleTransport& transport;
        lines::DeskServer* desk;  ///< null: a real console, which nobody can work from here
    };

    explicit Actions(const Stage& stage) : m_stage(stage) {}

    /// Does it. Empty, or why not, in a sentence without its full stop.
    std::string perform(const Command& command);
    /// The owner of the lamps has gone: the lamps that it set go off, unless they are to be kept, and follow the deck again.
    void giveLampsBack();

private:
    using SpeedLamps = transport::ConsoleTransport::SpeedLamps;

    static constexpr std::size_t lamps = 46;

    std::string set(const Command& command);
    std::string work(const Command& command);

    const Stage m_stage;
    std::bitset<lamps + 1> m_lent;  ///< lamps that the owner has set, not to be kept; by number
    SpeedLamps m_speedLamps = SpeedLamps::untouched;
};

}  // namespace cvhost::control
