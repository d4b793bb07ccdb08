// Which client has the lamps, and which has claimed which key code.
//
// Threads: one at a time.
#pragma once

#include <array>
#include <optional>

#include "apps/cvhost/control/Command.h"

namespace cvhost::control {

/// A number that no other client of a run has.
using ClientId = int;

class Ownership {
public:
    std::optional<ClientId> lampOwner() const { return m_lamps; }
    /// The client has the lamps now. False if another one has them.
    bool takeLamps(ClientId client);
    /// Nobody has the lamps now, if the client had them.
    void dropLamps(ClientId client);

    std::optional<ClientId> claimant(int code) const { return m_claimants.at(static_cast<std::size_t>(code)); }
    Codes claimed() const;
    /// `codes` are what the client claims from now on. If another one has one of them, that code; then nothing changes.
    std::optional<int> claim(ClientId client, const Codes& codes);

    /// The client has gone, and with it what it had.
    void leave(ClientId client);

private:
    std::optional<ClientId> m_lamps;
    std::array<std::optional<ClientId>, ConsoleHandlerTable::codes> m_claimants;
};

}  // namespace cvhost::control
