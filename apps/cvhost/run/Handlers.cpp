#include "apps/cvhost/run/Handlers.h"

namespace cvhost::run {

Handlers::Handlers(iConsoleResource& console, transport::ConsoleTransport& transport, RunMonitor& monitor)
    : m_console(console), m_transport(transport), m_monitor(monitor) {
    for (const int code : {1, 2, 3, 4, 5, 6}) m_table.set(code, this);
    for (const int code : transport::ConsoleTransport::codes) m_table.set(code, this);
}

bool Handlers::execute(int code) {
    m_transport.handle(code, m_console);
    m_monitor(HandlerRun{.code = code,
                         .speed = m_console.get_ispeed(),
                         .jog = m_console.get_jog_delta(),
                         .jogExact = m_console.get_jog_delta_exact(),
                         .wheelEnabled = m_console.wheel_enabled()});
    return true;
}

}  // namespace cvhost::run
