// What the host does for the console's keys: ring, transport keys, marks and jog drive the transport; codes 1 to 6 do
// nothing.
//
// Each run of a handler is reported with the console's values.
//
// Threads: any; the handlers run on the thread that calls them.
#pragma once

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

    /// From now on these codes are somebody else's: they count as handled, and the transport does not act on them.
    void setClaimed(const transport::ConsoleTransport::Codes& codes);

    bool execute(int code) override;

private:
    iConsoleResource& m_console;
    transport::ConsoleTransport& m_transport;
    RunMonitor& m_monitor;
    const bool m_mapped;
    ConsoleHandlerTable m_table;
};

}  // namespace cvhost::run
