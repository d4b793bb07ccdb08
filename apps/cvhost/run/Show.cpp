#include "apps/cvhost/run/Show.h"

#include <array>
#include <cstdint>
#include <utility>

#include "apps/common/ConsoleFacts.h"

namespace cvhost::run {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 2s;

}  // namespace

Show::Show(Stage stage) : m_stage(std::move(stage)) {
    addKeys();
    addShuttle();
    addJog();
    addLamps();
    addEnd();
}

void Show::addKeys() {
    m_steps.push_back({.pause = 1s, .say = "keys: some have a handler here, others are only queued"});
    for (const char key : {'A', 'C', 'E', 'P', 'T'}) {
        m_steps.push_back({.pause = 180ms,
                           .desk = [key](desk::Desk& desk, desk::Time now) { desk.tap(key, now); },
                           .awaited = Awaited{Awaited::Kind::key, common::keyCode(key)}});
    }
}

void Show::addShuttle() {
    m_steps.push_back({.pause = 600ms, .say = "shuttle: up to full speed and back; the lamps follow"});
    constexpr std::array<unsigned char, 21> positions{140, 160, 184, 200, 228, 255, 228, 200, 184, 160, 127,
                                                      114, 94,  70,  54,  26,  0,   26,  70,  94,  127};
    for (const unsigned char position : positions) {
        m_steps.push_back({.pause = 120ms,
                           .desk = [position](desk::Desk& desk, desk::Time now) { desk.shuttle(position, now); },
                           .awaited = Awaited{Awaited::Kind::handler, common::keys::ring}});
    }
}

void Show::addJog() {
    const auto key = [](desk::Desk& desk, desk::Time now) { desk.tap(common::keyLetter(common::keys::jog), now); };
    const auto turn = [this](std::int8_t counts, std::int16_t fine) {
        m_steps.push_back({.pause = 150ms,
                           .desk = [=](desk::Desk& desk, desk::Time now) { desk.jog(counts, fine, now); },
                           .awaited = Awaited{Awaited::Kind::handler, common::keys::wheel}});
    };
    const Awaited jogKey{Awaited::Kind::handler, common::keys::jog};

    m_steps.push_back(
        {.pause = 600ms, .say = "jog: the jog key switches the wheel on and off", .desk = key, .awaited = jogKey});
    turn(1, 0);
    turn(2, 2500);
    turn(3, 5000);
    turn(-1, 5000);
    turn(-2, 0);
    m_steps.push_back({.pause = 300ms, .desk = key, .awaited = jogKey});
    m_steps.push_back({.pause = 300ms, .say = "a strong turn switches it on by itself"});
    turn(9, 0);
    turn(4, 0);
    m_steps.push_back({.pause = 300ms, .desk = key, .awaited = jogKey});
}

void Show::addLamps() {
    m_steps.push_back({.pause = 600ms, .say = "lamps: fast forward, rewind, play, stop"});
    for (const int mode : {7, 8, 11, 12}) {
        m_steps.push_back({.pause = 400ms, .host = [mode](iConsoleResource& console) { console.force_mode(mode); }});
    }
}

void Show::addEnd() { m_steps.push_back({.pause = 600ms, .say = "that was the show; Ctrl-C ends the program"}); }

unsigned Show::count(const RunState& state, Awaited awaited) {
    const auto code = static_cast<std::size_t>(awaited.code);
    return awaited.kind == Awaited::Kind::key ? state.keys.at(code) : state.handlers.at(code);
}

void Show::advance(Clock::time_point now, const RunState& state) {
    while (m_next < m_steps.size()) {
        const Step& step = m_steps[m_next];
        if (!m_waiting) {
            if (m_due == Clock::time_point{}) m_due = now + step.pause;
            if (now < m_due) return;
            perform(step, now, state);
        }
        if (step.awaited && count(state, *step.awaited) == m_countBefore) {
            if (now < m_patience) return;
            m_stage.say("the host has not received this step; the show goes on");
        }
        m_waiting = false;
        m_due = {};
        ++m_next;
    }
}

void Show::perform(const Step& step, Clock::time_point now, const RunState& state) {
    if (!step.say.empty()) m_stage.say(step.say);
    if (step.awaited) m_countBefore = count(state, *step.awaited);
    if (step.desk) m_stage.operate(step.desk);
    if (step.host) step.host(m_stage.console);
    m_waiting = true;
    m_patience = now + patience;
}

}  // namespace cvhost::run
