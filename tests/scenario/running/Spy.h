// A console that notes which of its virtual operations are called, and then does what a console does.
#pragma once

#include <functional>
#include <string>

#include "tests/scenario/running/Running.h"

namespace running {

class Spy final : public Cv::Console {
public:
    void lamp_set(int lamp, int state) override {
        note("lamp_set(" + std::to_string(lamp) + ", " + static_cast<char>(state) + ")");
        if (onLampSet) onLampSet(lamp, state);
        Console::lamp_set(lamp, state);
    }
    void show_ispeed(int speed) override {
        note("show_ispeed(" + std::to_string(speed) + ")");
        if (onShowSpeed) onShowSpeed();
        Console::show_ispeed(speed);
    }
    void enable_wheel() override {
        note("enable_wheel()");
        Console::enable_wheel();
    }
    void disable_wheel() override {
        note("disable_wheel()");
        Console::disable_wheel();
    }
    bool jog_suspended() override {
        note("jog_suspended()");
        return Console::jog_suspended();
    }

    Texts calls;
    std::function<void(int, int)> onLampSet;
    std::function<void()> onShowSpeed;

private:
    void note(std::string call) { calls.push_back(std::move(call)); }
};

/// A spy that runs: port open, version 7 heard, nothing recorded yet.
class Spying : public testing::Test {
protected:
    Spying() {
        console.open_port();
        rig.receives("V007 ");
        rig.forget();
    }
    ~Spying() override { console.close_port(); }

    Rig rig{Rig::Scripted{}};
    Spy console;
};

}  // namespace running
