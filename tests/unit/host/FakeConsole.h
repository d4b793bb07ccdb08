// A console resource that does nothing, for the host to hold.
#pragma once

#include "host/api/Component.h"
#include "host/api/ConsoleResource.h"

class FakeConsole final : public CvResourceTypeBase, public iConsoleResource {
public:
    FakeConsole() : CvResourceTypeBase("FakeConsole", 0x454B4146, cvResourceConsole) {}
    ~FakeConsole() override { ++deleted; }

    bool init() override { return true; }
    void exit() override { ++exits; }
    bool active() const override { return false; }
    void lamp_set(int, int) override {}
    void enable() override {}
    void disable() override {}
    bool enabled() override { return true; }
    void force_stop() override {}
    void force_mode(int) override {}
    double get_jog_gearing() override { return 0; }
    void enable_wheel() override {}
    void enable_suspended_wheel() override {}
    void disable_wheel() override {}
    void suspend_wheel() override {}
    bool wheel_enabled() override { return false; }
    int get_jog_delta() override { return 0; }
    double get_jog_delta_exact() override { return 0; }
    int get_ispeed() override { return 0; }
    void set_ispeed(int) override {}
    bool jog_suspended() override { return false; }
    void show_ispeed(int) override {}
    bool key_is_down(int) override { return false; }

    static inline int deleted = 0;
    static inline int exits = 0;
};
