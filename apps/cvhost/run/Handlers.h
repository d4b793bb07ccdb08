// What the host does for the console's keys: ring, transport keys, marks and jog drive the transport; codes 1 to 6 do
// nothing.
//
// Each run of a handler is reported with the console's values.
//
// Threads: any; the handlers run on the thread that calls them.
#pragma once

#include <atomic>
#include <bitset>
#include <cstdint>

#include "apps/cvhost/run/RunMonitor.h"
#include "apps/cvhost/transport/ConsoleTransport.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"

namespace cvhost::run {

class Handlers final : public ConsoleHandler {
public:
    /// With `mapped`, a map acts on all codes in the transport's place, except on the jog key.
    Handlers(iConsoleResource& console, transport::ConsoleTransport& transport, RunMonitor& monitor, bool mapped);

    /// Empty entries for every code that has no handler.
    ConsoleHandlerTable& table() { return m_table; }

    /// From now on these codes are somebody else's: they count as handled, and the transport does not act on them. With the
    /// ring among them, what it has started ends.
    void setClaimed(const std::bitset<ConsoleHandlerTable::codes>& codes);

    bool execute(int code) override;

private:
    bool isClaimed(int code) const { return is_valid_keycode(code) && (m_claimed >> code & 1) != 0; }

    iConsoleResource& m_console;
    transport::ConsoleTransport& m_transport;
    RunMonitor& m_monitor;
    const bool m_mapped;
    ConsoleHandlerTable m_table;
    std::atomic<std::uint64_t> m_claimed = 0;  ///< a bit for each code
};

}  // namespace cvhost::run
