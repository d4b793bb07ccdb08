// A console that is a few values.
#pragma once

#include <array>
#include <set>
#include <vector>

#include "host/api/ConsoleResource.h"

class ValueConsole final : public iConsoleResource {
public:
    bool init() override { return true; }
    void exit() override {}
    bool active() const override { return isActive; }
    void lamp_set(int lamp, int state) override { lamps.at(static_cast<std::size_t>(lamp)) = static_cast<char>(state); }
    void enable() override {}
    void disable() override {}
    bool enabled() override { return true; }
    void force_stop() override {}
    void force_mode(int) override {}
    double get_jog_gearing() override { return gearing; }
    void enable_wheel() override { wheel = true; }
    void enable_suspended_wheel() override {}
    void disable_wheel() override { wheel = false; }
    void suspend_wheel() override {}
    bool wheel_enabled() override { return wheel; }
    int get_jog_delta() override { return static_cast<int>(jog); }
    double get_jog_delta_exact() override { return jog; }
    int get_ispeed() override { return speed; }
    void set_ispeed(int value) override { speed = value; }
    bool jog_suspended() override { return false; }
    void show_ispeed(int value) override { shown.push_back(value); }
    bool key_is_down(int code) override { return down.contains(code); }

    double gearing = 0.001;
    double jog = 0;
    int speed = 1024;
    bool wheel = false;
    bool isActive = true;
    std::vector<int> shown;
    std::array<char, 47> lamps{};  ///< by number; NUL: never set
    std::set<int> down;            ///< keys, by the codes on the line
};
