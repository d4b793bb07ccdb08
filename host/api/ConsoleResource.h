// A hardware edit console, as the host sees it.
#pragma once

#include "host/api/Ptr.h"

/// Slot order is part of the interface. [host] unless said otherwise.
class iConsoleResource : public iObject {
public:
    /// Starts bringing the console up; returns at once, true.
    virtual bool init() = 0;
    /// Switches the console off and closes its port; returns when its thread has ended.
    virtual void exit() = 0;
    /// True while the console runs and has told its version.
    virtual bool active() const = 0;
    /// Sets lamp 1..46 to the state character `state` ('O' off, 'F' on, 'H', 'B'). Other lamps are ignored.
    virtual void lamp_set(int lamp, int state) = 0;
    /// Lets the console's keys through to the host.
    virtual void enable() = 0;
    /// Holds back every key but stop (code 12).
    virtual void disable() = 0;
    virtual bool enabled() = 0;
    /// Acts as if the stop key (code 12) were pressed.
    virtual void force_stop() = 0;
    /// Shows the speed of shuttle mode `mode`, a key code (7..13), on the lamps.
    virtual void force_mode(int mode) = 0;
    /// How far one count of the jog wheel moves the host: the setting "jog_wheel_gearing", in the host's own unit.
    virtual double get_jog_gearing() = 0;
    virtual void enable_wheel() = 0;
    /// Switches the wheel on again after suspend_wheel.
    virtual void enable_suspended_wheel() = 0;
    virtual void disable_wheel() = 0;
    virtual void suspend_wheel() = 0;
    virtual bool wheel_enabled() = 0;
    /// The last jog movement in whole counts, -128..127.
    virtual int get_jog_delta() = 0;
    /// The last jog movement in counts with its fine part.
    virtual double get_jog_delta_exact() = 0;
    /// The shuttle speed: 1024 is normal play, 0 stopped, negative reverse.
    virtual int get_ispeed() = 0;
    virtual void set_ispeed(int speed) = 0;
    virtual bool jog_suspended() = 0;
    /// Shows a speed on the forward, stop and reverse lamps; 30000 and -30000 are the fastest.
    virtual void show_ispeed(int speed) = 0;
    /// True while the key with this code is held.
    virtual bool key_is_down(int code) = 0;
};
