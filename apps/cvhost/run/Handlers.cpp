#include "apps/cvhost/run/Handlers.h"

#include <algorithm>
#include <cstddef>

namespace cvhost::run {
namespace {

constexpr int lastOfNothing = 6;  ///< codes 1 to 6 are handled, and do nothing

}  // namespace

Handlers::Handlers(iConsoleResource& console, transport::ConsoleTransport& transport, RunMonitor& monitor, bool mapped)
    : m_console(console), m_transport(transport), m_monitor(monitor), m_mapped(mapped) {
    setClaimed({});
}

void Handlers::setClaimed(const transport::ConsoleTransport::Codes& codes) {
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) {
        const bool handled = m_mapped || (code >= 1 && code <= lastOfNothing) ||
                             codes.test(static_cast<std::size_t>(code)) ||
                             std::ranges::count(transport::ConsoleTransport::codes, code) != 0;
        m_table.set(code, handled ? this : nullptr);
    }
    m_transport.setClaimed(codes);
}

bool Handlers::execute(int code) {
    const bool mapped = m_mapped && code != common::keys::jog;
    if (!mapped) m_transport.handle(code, m_console);
    m_monitor(HandlerRun{.code = code,
                         .speed = m_console.get_ispeed(),
                         .jog = m_console.get_jog_delta(),
                         .jogExact = m_console.get_jog_delta_exact(),
                         .wheelEnabled = m_console.wheel_enabled()});
    return true;
}

}  // namespace cvhost::run
