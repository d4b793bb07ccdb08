// Wraps the driver's console: forwards and reports each call that changes something, and remembers lamps, wheel and speed
// display so that they can be restored after a reconnect.
//
// Threads: any; restore() on the application's main thread.
#pragma once

#include <functional>
#include <initializer_list>
#include <mutex>
#include <string_view>
#include <vector>

#include "host/api/ConsoleResource.h"

namespace cvhost::run {

class RestoringConsole final : public iConsoleResource {
public:
    /// Hears of each call that changes something, before it is made.
    using Told = std::function<void(std::string_view name, std::initializer_list<int> arguments)>;

    RestoringConsole(iConsoleResource& console, Told told) : m_console(console), m_told(std::move(told)) {}

    /// Sets lamps, speed display and wheel again, in the order in which they were last set.
    void restore();

    bool init() override;
    void exit() override;
    void lamp_set(int lamp, int state) override;
    void enable() override;
    void disable() override;
    void force_stop() override;
    void force_mode(int mode) override;
    void enable_wheel() override;
    void enable_suspended_wheel() override;
    void disable_wheel() override;
    void suspend_wheel() override;
    void set_ispeed(int speed) override;
    void show_ispeed(int speed) override;

    bool active() const override { return m_console.active(); }
    bool enabled() override { return m_console.enabled(); }
    double get_jog_gearing() override { return m_console.get_jog_gearing(); }
    bool wheel_enabled() override { return m_console.wheel_enabled(); }
    int get_jog_delta() override { return m_console.get_jog_delta(); }
    double get_jog_delta_exact() override { return m_console.get_jog_delta_exact(); }
    int get_ispeed() override { return m_console.get_ispeed(); }
    bool jog_suspended() override { return m_console.jog_suspended(); }
    bool key_is_down(int code) override { return m_console.key_is_down(code); }

private:
    /// What has been set last of one thing: a lamp by its number, or one of these.
    enum Thing : int { speedDisplay = 0, wheel = -1 };
    struct Wish {
        int thing;
        std::function<void()> set;
    };

    void keep(int thing, std::function<void()> set);
    void forgetWheel();
    std::function<void()> present(int thing);

    iConsoleResource& m_console;
    const Told m_told;
    std::mutex m_mutex;
    std::vector<Wish> m_wishes;  ///< in the order in which they were made; one for each thing
};

}  // namespace cvhost::run
