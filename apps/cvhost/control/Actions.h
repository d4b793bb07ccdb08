// What clients have done to the console: through the driver, and by the simulated desk's keys.
//
// Threads: the application's main thread.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "apps/common/ConsoleFacts.h"
#include "apps/cvhost/control/Command.h"
#include "apps/cvhost/control/Ownership.h"
#include "apps/cvhost/transport/ConsoleTransport.h"
#include "host/api/ConsoleResource.h"
#include "lines/DeskServer.h"

namespace cvhost::control {

class Actions {
public:
    struct Stage {
        iConsoleResource& console;
        /// From now on a client sets the lamps.
        std::function<void()> lendLamps;
        transport::ConsoleTransport& transport;
        lines::DeskServer* desk;  ///< null: a real console, which nobody can work from here
    };

    explicit Actions(const Stage& stage) : m_stage(stage) {}

    /// Does it. Empty, or why not, in a sentence without its full stop.
    std::string perform(ClientId client, const Command& command);
    /// The client has gone: keys that it pressed last and that are still held are released. If it owned the lamps, those
    /// that it set go off, unless they are to be kept, and follow the deck again.
    void leave(ClientId client);

private:
    using SpeedLamps = transport::ConsoleTransport::SpeedLamps;

    std::string set(const Command& command);
    std::string work(const Command& command);
    void giveLampsBack();
    std::optional<ClientId>& holder(char key) { return m_holders.at(static_cast<std::size_t>(common::keyCode(key))); }

    const Stage m_stage;
    std::array<std::optional<ClientId>, common::keyCount> m_holders;  ///< who has pressed the keys that are held
    std::optional<ClientId> m_owner;                                  ///< of the lamps that have been set
    std::bitset<common::lampCount + 1> m_lent;  ///< lamps that the owner has set, not to be kept; by number
    SpeedLamps m_speedLamps = SpeedLamps::untouched;
};

}  // namespace cvhost::control
