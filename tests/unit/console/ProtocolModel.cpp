#include "tests/unit/console/ProtocolModel.h"

#include <cmath>
#include <cstdlib>

namespace model {

using Kind = Effect::Kind;

unsigned hex(std::string_view digits) {
    unsigned value = 0;
    for (const char digit : digits.substr(0, digits.find('\0'))) {
        const std::size_t place = std::string_view("0123456789ABCDEFabcdef").find(digit);
        value = value * 16 + static_cast<unsigned>(place == std::string_view::npos ? 0 : place < 16 ? place : place - 6);
    }
    return value;
}

int speedAt(int position) {
    const long away = std::labs(position);
    long deflection = 0;
    if (away >= 5) deflection = away - 5;
    if (away >= 54) deflection = 48;
    if (away >= 63) deflection = away - 15;
    if (away >= 127) deflection = 111;
    // 1024 at 48: 1024/48^2 is 4/9.
    long speed = deflection * deflection * 4 / 9;
    if (deflection > 75) speed = speed * speed / 2500;
    return static_cast<int>(position < 0 ? -speed : speed);
}

void Protocol::packet(std::string_view packet) {
    if (ignores(packet)) return;
    const char first = packet[0];
    if (first == 'V') return version(packet.substr(1, 3));
    if (first == state.lead && packet.size() > 2) return status(packet);
    if (first == '~' && packet.size() > 1) {
        if (!m_around.tracing) return this->packet(packet.substr(1));
        for (int line = 0; line < 4; ++line) note(Kind::traced);
        return;
    }
    const bool isKey = first >= '@' && first <= 'o';
    const int code = first - '@';
    if (packet.size() == 2 && packet[1] == 'U') {
        if (isKey && code < heldCodes) state.held[code] = false;
    } else if (packet.size() == 1 && isKey) {
        press(code);
    } else if (m_around.tracing) {
        note(Kind::notUnderstood);
    }
}

void Protocol::version(std::string_view digits) {
    const unsigned told = hex(digits);
    state.active = true;
    state.version = told == 6 ? 6 : 7;
    if (told == 8) state.lead = 'L';
}

void Protocol::status(std::string_view packet) {
    const bool isShort = packet.size() == 9;
    if (!isShort && packet.size() != 12) {
        if (m_around.tracing) note(Kind::oddStatus);
        return;
    }
    const std::string_view fields = packet.substr(isShort ? 1 : 8);
    state.position = static_cast<int>(hex(fields.substr(0, 2))) - 127;
    const int speed = speedAt(state.position);
    if (speed != state.speed) {
        state.speed = speed;
        if (state.enabled) runHandler(0);
    }
    state.lastButton = 0;
    if (!state.enabled) return;
    const unsigned count = hex(fields.substr(2, 2));
    const unsigned fine = isShort ? hex(fields.substr(4, 4)) : 0;
    jog(count < 128 ? static_cast<int>(count) : static_cast<int>(count) - 256,
        (fine < 32768 ? fine : fine - 65536.0) / 10000.0);
}

void Protocol::jog(int count, double fine) {
    state.jog = count;
    state.jogExact = count < 0 ? count - fine : count + fine;
    if (!state.wheel && m_around.automaticJog && std::fabs(state.jogExact) >= m_around.triggerLevel) {
        // As if the key had been pressed, so an ended console does not hear it.
        if (state.active && state.version >= 7) press(28);
    } else if (!state.wheel) {
        return;
    }
    if (state.wheel) runHandler(47);
}

void Protocol::press(int code) {
    if (code < heldCodes) state.held[code] = true;
    const int sent = code == 39 ? 31 : code == 40 ? 39 : code == 31 ? 40 : code;
    if (!state.enabled && sent != 12) return;
    if (m_around.handlers && !m_around.keyWaits) {
        runHandler(sent);
        note(Kind::handledKey, sent);
    } else {
        note(Kind::queuedKey, sent);
        m_around.keyWaits = true;
    }
    state.lastButton = sent;
}

void Protocol::runHandler(int code) {
    if (!m_around.handlers) return;
    note(Kind::handler, code);
    if (m_calling || (m_around.callingCode >= 0 && m_around.callingCode != code)) return;
    m_calling = true;
    call(m_around.call);
    m_calling = false;
}

void Protocol::call(Call what) {
    switch (what) {
        case Call::disable:
        case Call::enable:
            state.enabled = what == Call::enable;
            break;
        case Call::wheelOn:
        case Call::wheelOff:
            state.wheel = what == Call::wheelOn;
            break;
        case Call::suspend:
            if (!suspended) state.wheel = false;
            suspended = true;
            break;
        case Call::resume:
            if (suspended) state.wheel = true;
            suspended = false;
            break;
        case Call::setSpeed:
            state.speed = speedThatIsSet;
            break;
        case Call::forceMode:
            state.lastButton = modeThatIsForced;
            break;
        case Call::forceStop:
            runHandler(12);
            state.lastButton = 12;
            break;
        case Call::end:
        case Call::endAndStart:
            if (state.active) state.wheel = false;
            state.active = false;
            if (what == Call::endAndStart) note(Kind::thread);
            break;
        case Call::withdrawHandlers:
            m_around.handlers = false;
            break;
        case Call::queueKey:
            note(Kind::queuedKey, 1);
            m_around.keyWaits = true;
            break;
        case Call::nothing:
        case Call::lamp:
        case Call::last:
            break;
    }
}

}  // namespace model
