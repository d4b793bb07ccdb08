// What the host says to the running console: short ASCII commands, each ending with a blank.
#include <cstring>
#include <iterator>

#include "console/Console.h"
#include "console/Protocol.h"
#include "host/api/ConsoleInput.h"
#include "host/api/Log.h"
#include "monitor/SharedField.h"

namespace Cv {

namespace {

constexpr int s_firstMode = 7;
constexpr int s_modeSpeeds[] = {Protocol::fastest, -Protocol::fastest, 0, 0, Protocol::normalPlay, 0, -1};  // modes 7..13

constexpr int speedOfMode(int mode) {
    return mode >= s_firstMode && mode < s_firstMode + static_cast<int>(std::size(s_modeSpeeds))
               ? s_modeSpeeds[mode - s_firstMode]
               : 0;
}
static_assert(speedOfMode(s_firstMode - 1) == 0 && speedOfMode(7) == Protocol::fastest &&
              speedOfMode(8) == -Protocol::fastest);
static_assert(speedOfMode(11) == Protocol::normalPlay && speedOfMode(13) == -1 && speedOfMode(14) == 0);

/// The states of lamps 3, 2 and 1 for a speed.
constexpr const char* lampPattern(int speed) {
    if (speed == 0) return "OFO";
    if (speed == Protocol::normalPlay || speed == Protocol::fastest) return "OOF";
    if (speed == -Protocol::normalPlay || speed == -Protocol::fastest) return "FOO";
    return speed > 0 ? "OOH" : "HOO";
}

}  // namespace

bool Console::console_puts(const char* s) {
    const Cv::Ptr<CommsPort> port = portHandle();
    if (!port) return false;
    const std::size_t length = std::strlen(s);
    // Kept: the quote before the line end has no partner. Test: ConsolePuts_Debug_LogsWithStrayQuote.
    if (s_consoleDebug) LogBoth("CON:   tx: %s\"\n", s);
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(s));
    return comms_putchs(port, bytes, static_cast<int>(length)) == 0;
}

void Console::command(char c) {
    const char text[] = {c, Protocol::packetEnd, '\0'};
    console_puts(text);
}

void Console::lamp_set(int lamp, int state) {
    if (load(m_state) == 0 || lamp < 1 || lamp > Protocol::lastLamp || load(m_lampState[lamp]) == state) return;
    store(m_lampState[lamp], state);
    // Kept: an old console's lamp counts as set, and is not sent when its version changes.
    // Test: LampSet_OldVersionThenNew_CachedStateIsNotSent.
    if (load(m_version) <= 4) return;

    const auto letter = static_cast<char>(state);
    const auto tens = static_cast<char>('0' + lamp / 10);
    const auto ones = static_cast<char>('0' + lamp % 10);
    const char oneDigit[] = {letter, ones, Protocol::packetEnd, '\0'};
    const char twoDigits[] = {letter, tens, ones, Protocol::packetEnd, '\0'};
    console_puts(lamp > 9 ? twoDigits : oneDigit);
}

void Console::lamp_set3(const char* s) {
    lamp_set(3, s[0]);
    lamp_set(2, s[1]);
    lamp_set(1, s[2]);
}

void Console::lights_off() {
    for (int lamp = 0; lamp <= Protocol::lastLamp; ++lamp) {
        store(m_lampState[lamp], -1);
        lamp_set(lamp, Protocol::lampOff);
    }
}

void Console::show_ispeed(int speed) {
    // Kept: nothing ever sets the flag. Test: ShowIspeed_BlinkPending_ClearsTheThreeLampsFirst.
    if (load(m_blinkPending)) {
        lamp_set3("OOO");
        store(m_blinkPending, false);
    }
    lamp_set3(lampPattern(speed));
    if (speed == Protocol::fastest || speed == -Protocol::fastest) {
        lamp_set(speed > 0 ? Protocol::forwardLamp : Protocol::reverseLamp, Protocol::lampFastest);
        store(m_blinkPending, false);
    }
}

void Console::force_mode(int mode) {
    show_ispeed(speedOfMode(mode));
    store(last_button_index, mode);
}

void Console::enable_wheel() {
    // The flag covers all the time in which the console reports movement: set before its command, cleared after.
    store(m_wheelEnabled, true);
    command(Protocol::wheelOn);
    lamp_set(Protocol::jogLamp, Protocol::lampOn);
}

void Console::disable_wheel() {
    command(Protocol::wheelOff);
    lamp_set(Protocol::jogLamp, Protocol::lampOff);
    store(m_wheelEnabled, false);
}

void Console::suspend_wheel() {
    if (jog_suspended()) return;
    jog_setSuspended(true);
    disable_wheel();
}

void Console::enable_suspended_wheel() {
    if (!jog_suspended()) return;
    jog_setSuspended(false);
    enable_wheel();
}

}  // namespace Cv
