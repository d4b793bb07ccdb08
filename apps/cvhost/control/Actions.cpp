#include "apps/cvhost/control/Actions.h"

#include <utility>

namespace cvhost::control {
namespace {

constexpr int lastOfDisplay = common::lamps::reverse;  ///< lamps 1 to 3 show the speed

}  // namespace

std::string Actions::perform(ClientId client, const Command& command) {
    std::string refusal = command.setsLamps() ? set(command) : work(command);
    if (!refusal.empty()) return refusal;
    if (command.setsLamps()) m_owner = client;
    if (command.kind == Command::Kind::press) holder(command.key) = client;
    if (command.kind == Command::Kind::release) holder(command.key).reset();
    return refusal;
}

void Actions::leave(ClientId client) {
    for (int code = 0; code < common::keyCount; ++code) {
        const char key = common::keyLetter(code);
        if (holder(key) != client) continue;
        holder(key).reset();
        work({.kind = Command::Kind::release, .key = key});
    }
    if (m_owner == client) giveLampsBack();
}

std::string Actions::set(const Command& command) {
    iConsoleResource& console = m_stage.console;
    if (!console.active()) return "no console is active; wait for the event \"active\"";
    m_stage.lendLamps();
    const SpeedLamps left = command.keep ? SpeedLamps::kept : SpeedLamps::changed;
    switch (command.kind) {
        case Command::Kind::lamp:
            console.lamp_set(command.lamp, command.state);
            m_lent.set(static_cast<std::size_t>(command.lamp), !command.keep);
            if (command.lamp <= lastOfDisplay) m_speedLamps = left;
            break;
        case Command::Kind::wheel:
            command.on ? console.enable_wheel() : console.disable_wheel();
            break;
        default:
            console.show_ispeed(command.speed);
            m_speedLamps = left;
    }
    return {};
}

std::string Actions::work(const Command& command) {
    if (m_stage.desk == nullptr) return "this console is a real one: its keys are pressed by hand";
    std::string refusal;
    m_stage.desk->operate([&](desk::Desk& desk, desk::Time now) {
        if (!desk.programRunning()) {
            refusal = "the simulated console has not started; wait for the event \"active\"";
        } else if (command.kind == Command::Kind::release) {
            desk.release(command.key, now);
        } else if (!desk.press(command.key, now)) {
            refusal = "the simulated console has more to send than its line carries; try again later";
        }
    });
    return refusal;
}

void Actions::giveLampsBack() {
    m_owner.reset();
    iConsoleResource& console = m_stage.console;
    for (int lamp = lastOfDisplay + 1; lamp <= common::lampCount; ++lamp) {
        if (!m_lent.test(static_cast<std::size_t>(lamp))) continue;
        console.lamp_set(lamp, lamp == common::lamps::jog && console.wheel_enabled() ? 'F' : 'O');
    }
    m_lent.reset();
    m_stage.transport.takeLampsBack(std::exchange(m_speedLamps, SpeedLamps::untouched));
}

}  // namespace cvhost::control
