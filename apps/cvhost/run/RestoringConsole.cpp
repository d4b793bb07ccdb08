#include "apps/cvhost/run/RestoringConsole.h"

#include <algorithm>
#include <utility>

#include "apps/common/ConsoleFacts.h"

namespace cvhost::run {

void RestoringConsole::keep(int thing, std::function<void()> set) {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_wishes, [=](const Wish& wish) { return wish.thing == thing; });
    m_wishes.push_back({thing, std::move(set)});
}

/// The driver switches the wheel's lamp off with the wheel.
void RestoringConsole::forgetWheel() {
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_wishes, [](const Wish& wish) { return wish.thing == wheel || wish.thing == common::lamps::jog; });
}

/// Another thread may have asked for something else, or for nothing, since it was first looked at.
std::function<void()> RestoringConsole::present(int thing) {
    const std::lock_guard lock(m_mutex);
    const auto wish = std::ranges::find(m_wishes, thing, &Wish::thing);
    return wish == m_wishes.end() ? nullptr : wish->set;
}

void RestoringConsole::restore() {
    std::vector<Wish> wishes;
    {
        const std::lock_guard lock(m_mutex);
        wishes = m_wishes;
    }
    for (const Wish& wish : wishes) {
        if (const auto set = present(wish.thing)) set();
    }
}

bool RestoringConsole::init() {
    m_told("init", {});
    return m_console.init();
}

void RestoringConsole::exit() {
    m_told("exit", {});
    m_console.exit();
}

void RestoringConsole::lamp_set(int lamp, int state) {
    m_told("lamp_set", {lamp, state});
    if (lamp >= 1 && lamp <= common::lampCount) keep(lamp, [=, this] { lamp_set(lamp, state); });
    m_console.lamp_set(lamp, state);
}

void RestoringConsole::enable() {
    m_told("enable", {});
    m_console.enable();
}

void RestoringConsole::disable() {
    m_told("disable", {});
    m_console.disable();
}

void RestoringConsole::force_stop() {
    m_told("force_stop", {});
    m_console.force_stop();
}

void RestoringConsole::force_mode(int mode) {
    m_told("force_mode", {mode});
    keep(speedDisplay, [=, this] { force_mode(mode); });
    m_console.force_mode(mode);
}

void RestoringConsole::enable_wheel() {
    m_told("enable_wheel", {});
    keep(wheel, [this] { enable_wheel(); });
    m_console.enable_wheel();
}

void RestoringConsole::enable_suspended_wheel() {
    m_told("enable_suspended_wheel", {});
    if (m_console.jog_suspended()) keep(wheel, [this] { enable_wheel(); });
    m_console.enable_suspended_wheel();
}

void RestoringConsole::disable_wheel() {
    m_told("disable_wheel", {});
    forgetWheel();
    m_console.disable_wheel();
}

void RestoringConsole::suspend_wheel() {
    m_told("suspend_wheel", {});
    forgetWheel();
    m_console.suspend_wheel();
}

void RestoringConsole::set_ispeed(int speed) {
    m_told("set_ispeed", {speed});
    m_console.set_ispeed(speed);
}

void RestoringConsole::show_ispeed(int speed) {
    m_told("show_ispeed", {speed});
    keep(speedDisplay, [=, this] { show_ispeed(speed); });
    m_console.show_ispeed(speed);
}

}  // namespace cvhost::run
