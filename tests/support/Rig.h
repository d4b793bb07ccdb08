// What a scenario is written with: the driver in a world with one serial port, and the console or a scripted peer behind it.
//
//   Rig rig;                                  // a desk with firmware 7 on "/dev/ttyUSB0", described as "Corvane Console"
//   rig.start();                              // init(), and time until the start-up thread has ended
//   rig.desk.presses('E');
//   rig.run_for(10ms);
//   EXPECT_EQ(rig.keys(), (Keys{{5, false, 1536}}));
//
//   Rig rig(Rig::Scripted{});                 // nothing answers but what rig.peer() is told to
//   rig.activate();                           // port open, version 7 heard, nothing recorded so far
//   rig.receives("L ");                       // straight into the receive callback, byte by byte, in no time
//
// Every rig begins with the driver as it is when it has just been loaded without settings, and puts it back. One at a time.
// Threads: the world's; a rig is used on the world's first thread.
#pragma once

#include <chrono>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "console/Console.h"
#include "host/api/ConsoleInput.h"
#include "host/core/KeyQueue.h"
#include "host/core/Settings.h"
#include "host/sim/World.h"
#include "tests/support/Driver.h"

namespace cvhost {
/// For messages.
inline void PrintTo(const KeyPress& press, std::ostream* out) {
    *out << "{" << press.code << ", " << (press.handled ? "true" : "false") << ", " << press.flags << "}";
}
}  // namespace cvhost

namespace support {

using namespace std::chrono_literals;
using sim::Kind;
using sim::Time;

using Keys = std::vector<cvhost::KeyPress>;
using Texts = std::vector<std::string>;
using Codes = std::vector<int>;

/// The operator at the desk, now.
class Operator {
public:
    Operator(sim::World& world, desk::Desk* desk) : m_world(world), m_desk(desk) {}

    void presses(char key) { desk().press(key, m_world.now()); }
    void releases(char key) { desk().release(key, m_world.now()); }
    void taps(char key) { desk().tap(key, m_world.now()); }
    void shuttle(unsigned char position) { desk().shuttle(position, m_world.now()); }
    void jog(std::int8_t counts, std::int16_t fine = 0) { desk().jog(counts, fine, m_world.now()); }
    void sends(std::string_view bytes) { desk().raw(bytes, m_world.now()); }
    void forwards(std::string_view packet) { desk().forward(packet, m_world.now()); }
    void power_cycles() { desk().powerCycle(m_world.now()); }

    bool active() const { return m_desk->active(); }
    char lamp(int number) const { return m_desk->lamp(number); }
    /// All 46, lamp 1 first.
    std::string lamps() const;
    bool wheel_on() const { return m_desk->wheelOn(); }
    unsigned resets() const { return m_desk->resets(); }
    /// The machine itself.
    desk::Desk& desk() const { return *m_desk; }

private:
    sim::World& m_world;
    desk::Desk* m_desk;
};

class Rig {
public:
    struct Scripted {};

    explicit Rig(const desk::Options& options = {}, const sim::Schedule& schedule = {});
    explicit Rig(const sim::Schedule& schedule) : Rig(desk::Options{}, schedule) {}
    explicit Rig(Scripted, const sim::Schedule& schedule = {});
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;
    ~Rig();

    /// Call before the first rig of a process: the driver then reads "BeyondPlayMultiplier" when it first needs it.
    static void start_cold();

    // Before the driver is loaded.

    /// A setting as config_int, config_double and config_string find it. Those that are read at load are set by `debug`
    /// and `jog_turn_on`, since the driver's load-time settings are read before any test begins.
    void set(std::string_view key, cvhost::Settings::Value value) { cvhost::settings().set(key, std::move(value)); }
    /// The preference "HardwareConsoleEnabled", true in a new rig.
    void prefer(bool console) { cvhost::settings().setPreference("HardwareConsoleEnabled", console); }
    /// "console_debug".
    void debug(bool on);
    /// "AutomaticJogTurnOn" and "AutomaticJogTurnOnTriggerLevel".
    void jog_turn_on(bool on, int level = 6);

    // The driver.

    /// Loads it on first use.
    Cv::Console& console() { return plugin().console(); }
    Plugin& plugin();
    /// Unloads it, as the rig's end does too.
    void unload() { m_plugin.reset(); }
    void init() { console().init(); }
    /// init(), and time until the start-up thread has ended; false when it has not after `limit`.
    bool start(Time limit = 60s);
    /// True while the start-up thread has not ended.
    bool thread_runs() { return world.scheduler().runs("ConsInit"); }
    /// Opens the port, hooks it, and hears version `version` (hexadecimal digit); then forgets what was recorded.
    void activate(char version = '7');

    // Time.

    Time now() const { return world.now(); }
    void run_for(Time duration) { world.runFor(duration); }
    bool run_until(const std::function<bool()>& done, Time limit = 60s) { return world.runUntil(done, limit); }
    /// Does `what` on a thread of its own.
    sim::ThreadHandle on_thread(std::string name, std::function<void()> what);

    // The other end.

    sim::ScriptedPeer& peer() { return *m_peer; }
    /// The peer sends, at the line's pace.
    void peer_sends(std::string_view bytes) { m_peer->send(bytes, now()); }
    /// Each byte arrives at the port and is dealt with before the next, in no time.
    void receives(std::string_view bytes);
    /// All bytes are in the port's queue before the first call of the callback, in no time.
    void receives_at_once(std::string_view bytes);

    // The host's side of the keys.

    /// Has a handler for `code` from now on, in the table that the rig makes current; `action` says whether it took the key.
    void handle(int code, std::function<bool(int)> action = nullptr);
    /// The codes of the handlers that ran.
    Codes handled() const;
    /// The table of `handle`.
    ConsoleHandlerTable& handlers() { return m_table; }

    // What happened since the rig began or `forget`.

    void forget() { world.forgetRecording(); }
    /// Every addToKeyPressQueue.
    Keys keys() const;
    /// All bytes handed to the port.
    std::string sent() const;
    /// The bytes of each write.
    Texts writes() const { return textsOf(world.recording(), Kind::sent); }
    Texts log() const { return textsOf(world.recording(), Kind::log); }
    /// The formats as LogBoth got them.
    Texts log_formats() const;
    /// Calls of the driver into the host, in order: "sleep(200)", "wait(100)", "getPreference(HardwareConsoleEnabled)".
    Texts calls() const { return textsOf(world.recording(), Kind::call); }
    /// Those that begin with `start`.
    Texts calls(std::string_view start) const;
    /// One line for each entry of these kinds: "220.000 sent F2 ", milliseconds first, bytes escaped.
    Texts transcript(std::initializer_list<Kind> kinds) const;
    /// When entries of this kind and text happened.
    std::vector<Time> times(Kind kind, std::string_view text) const;

    sim::World world;
    sim::Line& port;
    Operator desk;

private:
    class Handler final : public ConsoleHandler {
    public:
        Handler(sim::World& world, std::function<bool(int)> action) : m_world(world), m_action(std::move(action)) {}
        bool execute(int code) override;

    private:
        sim::World& m_world;
        std::function<bool(int)> m_action;
    };

    Rig(const sim::Schedule& schedule, const desk::Options* options);

    sim::ScriptedPeer* m_peer = nullptr;
    std::optional<Plugin> m_plugin;
    std::map<int, std::unique_ptr<Handler>> m_handlers;
    ConsoleHandlerTable m_table;
};

}  // namespace support
