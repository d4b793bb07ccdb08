#include "apps/cvhost/run/Handlers.h"

namespace cvhost {

Handlers::Handlers(iConsoleResource& console, Hearing& hearing) : m_console(console), m_hearing(hearing) {
    for (const int code : {0, 1, 2, 3, 4, 5, 6, 12, 28, 47}) m_table.set(code, this);
}

bool Handlers::execute(int code) {
    if (code == 28) {
        if (m_console.wheel_enabled()) {
            m_console.disable_wheel();
        } else {
            m_console.enable_wheel();
        }
    }
    m_hearing.handler({.code = code,
                       .speed = m_console.get_ispeed(),
                       .jog = m_console.get_jog_delta(),
                       .jogExact = m_console.get_jog_delta_exact(),
                       .wheelEnabled = m_console.wheel_enabled()});
    return true;
}

}  // namespace cvhost
