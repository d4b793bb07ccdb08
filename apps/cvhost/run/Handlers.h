// What the host does for the console's keys: codes 0 (shuttle), 12 (stop), 28 (jog key), 47 (jog) and 1 to 6.
//
// Each run of a handler is told with the console's values; code 28 also switches the wheel on or off.
//
// Threads: the handlers run on whatever thread calls them.
#pragma once

#include "apps/cvhost/run/Hearing.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"

namespace cvhost {

class Handlers final : public ConsoleHandler {
public:
    Handlers(iConsoleResource& console, Hearing& hearing);

    /// Empty entries for every code that has no handler.
    ConsoleHandlerTable& table() { return m_table; }

    bool execute(int code) override;

private:
    iConsoleResource& m_console;
    Hearing& m_hearing;
    ConsoleHandlerTable m_table;
};

}  // namespace cvhost
