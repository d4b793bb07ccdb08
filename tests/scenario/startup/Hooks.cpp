#include "tests/scenario/startup/Hooks.h"

#include <new>

#include "console/Console.h"
#include "host/api/Comms.h"
#include "host/api/Settings.h"

using Port = Cv::Ptr<CommsPort>;

#define WRAPPED(result, name, symbol, arguments)            \
    result real_##name arguments __asm__("__real_" symbol); \
    result name arguments __asm__("__wrap_" symbol);        \
    result name arguments

namespace startup {

Hooks& hooks() {
    static Hooks s_hooks;
    return s_hooks;
}

WRAPPED(int, getc, "_Z10comms_getcN2Cv3PtrI9CommsPortEEPh", (Port port, unsigned char* byte)) {
    const auto instead = hooks().getc ? hooks().getc() : std::nullopt;
    return instead ? *instead : real_getc(port, byte);
}

WRAPPED(int, putchs, "_Z12comms_putchsN2Cv3PtrI9CommsPortEEPhi", (Port port, unsigned char* bytes, int count)) {
    const std::string text(bytes, bytes + count);
    const auto instead = hooks().putchs ? hooks().putchs(text) : std::nullopt;
    if (instead) return *instead;
    return hooks().refuseWrite && hooks().refuseWrite(text) ? -1 : real_putchs(port, bytes, count);
}

WRAPPED(void, setRts, "_Z13comms_set_rtsN2Cv3PtrI9CommsPortEEi", (Port port, int level)) {
    if (hooks().rts) hooks().rts(level);
    real_setRts(port, level);
}

WRAPPED(Port, openPort, "_Z15comms_port_openRK17LightweightStringIwEiici",
        (const LightweightString<wchar_t>& name, int baud, int dataBits, char parity, int stopBits)) {
    if (hooks().refuseOpen && hooks().refuseOpen()) return {};
    return real_openPort(name, baud, dataBits, parity, stopBits);
}

WRAPPED(bool, getPreference, "_ZN17EditorPreferences13getPreferenceERK17LightweightStringIcEb",
        (EditorPreferences * preferences, const LightweightString<char>& key, bool defaultValue)) {
    const auto instead = hooks().preference ? hooks().preference() : std::nullopt;
    return instead ? *instead : real_getPreference(preferences, key, defaultValue);
}

WRAPPED(bool, purge, "_Z5PurgeN2Cv3PtrI9CommsPortEE", (Port port)) {
    return hooks().refusePurge && hooks().refusePurge() ? false : real_purge(port);
}

WRAPPED(void*, newArray, "_Znam", (std::size_t bytes)) {
    if (hooks().refuseArrays) throw std::bad_alloc();
    return real_newArray(bytes);
}

}  // namespace startup
