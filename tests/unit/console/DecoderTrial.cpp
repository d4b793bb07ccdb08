#include "tests/unit/console/DecoderTrial.h"

#include <cstdio>
#include <string>

namespace exhaustive {
namespace {

using model::Call;
using model::Effect;
using model::State;

std::string shown(std::string_view packet) {
    std::string text = "\"";
    for (const char byte : packet) {
        char part[8];
        std::snprintf(part, sizeof part, byte >= ' ' && byte < 0x7F ? "%c" : "\\x%02X", static_cast<unsigned char>(byte));
        text += part;
    }
    return text + '"';
}

std::string shown(const State& state) {
    std::string text = std::string(state.active ? "active" : "not active") + ", version " + std::to_string(state.version) +
                       ", lead " + state.lead + (state.enabled ? ", enabled" : ", disabled") +
                       (state.wheel ? ", wheel on" : ", wheel off") + ", position " + std::to_string(state.position) +
                       ", speed " + std::to_string(state.speed) + ", jog " + std::to_string(state.jog) + " (" +
                       std::to_string(state.jogExact) + "), last button " + std::to_string(state.lastButton) + ", held";
    for (int code = 0; code < model::heldCodes; ++code) {
        if (state.held[code]) text += ' ' + std::to_string(code);
    }
    return text;
}

std::string shown(const std::vector<Effect>& effects) {
    constexpr const char* names[] = {"handler",    "handled key", "queued key", "not understood",
                                     "odd status", "traced",      "thread"};
    std::string text;
    for (const Effect& effect : effects) {
        text +=
            std::string(text.empty() ? "" : ", ") + names[static_cast<int>(effect.kind)] + ' ' + std::to_string(effect.code);
    }
    return text.empty() ? "nothing" : text;
}

}  // namespace

bool DecoderTrial::row(std::array<char, 3> packet) {
    const model::Protocol expected = ready();
    bool mayDoSomething[256];
    for (int third = 0; third < 256; ++third) {
        packet[2] = static_cast<char>(third);
        mayDoSomething[third] = !expected.ignores({packet.data(), 3});
        if (mayDoSomething[third]) continue;
        decode({packet.data(), 3});
        ++result.tried;
    }
    const bool nothingHappened = bare::host().events.empty() && ConsoleTestAccess::statusLead() == m_before.lead &&
                                 last_button_index == lastButtonBefore &&
                                 std::memcmp(m_bytes, static_cast<const void*>(&m_console), sizeof m_bytes) == 0;
    if (!nothingHappened) {
        emptyHost();
        restore();
    }
    for (int third = 0; third < 256; ++third) {
        packet[2] = static_cast<char>(third);
        if ((mayDoSomething[third] || !nothingHappened) && !holds({packet.data(), 3})) return false;
    }
    if (!nothingHappened)
        result.difference = shown(std::string_view(packet.data(), 2)) + " and a third did something together";
    return nothingHappened;
}

bool DecoderTrial::holds(std::string_view packet) {
    ++result.tried;
    model::Protocol expected(m_around);
    expected.state = m_before;
    expected.packet(packet);
    decode(packet);
    const bool same = state() == expected.state && effects() == expected.effects;
    if (!same) describe(packet, expected);
    if (!bare::host().events.empty()) emptyHost();
    if (m_around.call == Call::withdrawHandlers) setHandlers();
    restore();
    if (same && m_around.call == Call::nothing &&
        std::memcmp(m_bytes, static_cast<const void*>(&m_console), sizeof m_bytes) != 0) {
        result.difference = shown(packet) + " in " + shown(m_before) + ": something else in the console changed";
    }
    return result.difference.empty();
}

model::State DecoderTrial::state() {
    using Access = ConsoleTestAccess;
    State now;
    now.active = Access::state(m_console) != 0;
    now.version = Access::version(m_console);
    now.lead = Access::statusLead();
    now.enabled = Access::enabled(m_console);
    now.wheel = Access::wheelEnabled(m_console);
    now.position = Access::shuttleOffset(m_console);
    now.speed = m_console.get_ispeed();
    now.jog = m_console.get_jog_delta();
    now.jogExact = m_console.get_jog_delta_exact();
    now.lastButton = last_button_index;
    for (int code = 0; code < model::heldCodes; ++code) now.held[code] = Access::keyDown(m_console, code) != 0;
    return now;
}

model::Effect DecoderTrial::effectOf(const bare::Event& event) {
    using Event = bare::Event;
    switch (event.kind) {
        case Event::Kind::handler:
            return {Effect::Kind::handler, event.code};
        case Event::Kind::key:
            // The flags are the driver's own for a press; what the handler's call queues has none.
            return {event.handled != 0 ? Effect::Kind::handledKey : Effect::Kind::queuedKey,
                    event.flags == 1536 || event.flags == 0 ? event.code : -event.flags};
        case Event::Kind::log: {
            const std::string_view format = event.text;
            if (format.find("illegal packet") != format.npos) return {Effect::Kind::notUnderstood};
            return {format.find("Unrecognised STATUS") != format.npos ? Effect::Kind::oddStatus : Effect::Kind::traced};
        }
        default:
            return {Effect::Kind::thread};
    }
}

void DecoderTrial::call() {
    switch (m_around.call) {
        case Call::disable:
            return m_console.disable();
        case Call::enable:
            return m_console.enable();
        case Call::wheelOn:
            return m_console.enable_wheel();
        case Call::wheelOff:
            return m_console.disable_wheel();
        case Call::suspend:
            return m_console.suspend_wheel();
        case Call::resume:
            return m_console.enable_suspended_wheel();
        case Call::setSpeed:
            return m_console.set_ispeed(model::speedThatIsSet);
        case Call::lamp:
            return m_console.lamp_set(5, 'F');
        case Call::forceMode:
            return m_console.force_mode(model::modeThatIsForced);
        case Call::forceStop:
            return m_console.force_stop();
        case Call::end:
            return m_console.exit();
        case Call::endAndStart:
            m_console.exit();
            m_console.init();
            return;
        case Call::withdrawHandlers:
            return ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
        case Call::queueKey:
            return addToKeyPressQueue(1, 0, 0);
        case Call::nothing:
        case Call::last:
            return;
    }
}

void DecoderTrial::restore() {
    using Access = ConsoleTestAccess;
    Access::state(m_console) = m_before.active ? 1 : 0;
    Access::version(m_console) = m_before.version;
    Access::statusLead() = m_before.lead;
    Access::enabled(m_console) = m_before.enabled;
    Access::wheelEnabled(m_console) = m_before.wheel;
    Access::shuttleOffset(m_console) = m_before.position;
    Access::jogDelta(m_console) = m_before.jog;
    Access::jogDeltaExact(m_console) = m_before.jogExact;
    m_console.set_ispeed(m_before.speed);
    for (int code = 0; code < model::heldCodes; ++code) Access::keyDown(m_console, code) = m_before.held[code] ? 1 : 0;
    last_button_index = m_before.lastButton;
    if (m_around.call == Call::nothing) return;
    m_console.jog_setSuspended(false);
    Access::port(m_console) = support::newPort();
}

void DecoderTrial::setHandlers() {
    const auto handler = [this](int code) {
        if (!m_calling && (m_around.callingCode < 0 || m_around.callingCode == code)) {
            m_calling = true;
            call();
            m_calling = false;
        }
        return true;
    };
    m_around.handlers ? bare::setHandlers(true, handler) : bare::setHandlers(false);
}

void DecoderTrial::describe(std::string_view packet, const model::Protocol& expected) {
    result.difference = shown(packet) + " in " + shown(m_before) + (m_around.tracing ? ", tracing" : "") +
                        (m_around.handlers ? ", handlers" : "") + (m_around.keyWaits ? ", a key waits" : "") +
                        ", handlers' call " + std::to_string(static_cast<int>(m_around.call)) + " for code " +
                        std::to_string(m_around.callingCode) + "\n  expected " + shown(expected.effects) + "; " +
                        shown(expected.state) + "\n  got " + shown(effects()) + "; " + shown(state());
}

}  // namespace exhaustive
