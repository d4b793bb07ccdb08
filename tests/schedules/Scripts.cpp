#include "tests/schedules/Scripts.h"

#include "tests/schedules/Stage.h"

namespace schedules {
namespace {

constexpr int keyCode = 5;  // of "E"

/// exit() at each moment of start-up and after it.
void initAndExit(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.play({{"owner", [&] {
                     stage.console().init();
                     stage.atAnyMoment();
                     stage.console().exit();
                 }}});
    stage.requireEnded();
}

/// A key arrives, and its handler calls exit(); another thread lights lamps meanwhile.
void exitFromHandler(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.start();
    unsigned calls = 0;
    stage.rig.handle(keyCode, [&](int) {
        ++calls;
        stage.console().exit();
        return true;
    });
    stage.play({{"line", [&] { stage.rig.port.inject("E E "); }}, {"editor", [&] { stage.console().lamp_set(30, 'F'); }}});
    stage.require(calls == 1, "the handler was called " + std::to_string(calls) + " times");
    stage.requireEnded();
}

/// The adapter is pulled out at each moment of start-up, and then exit() is called.
void unplug(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.play({{"owner", [&] {
                     stage.console().init();
                     stage.atAnyMoment(1s);
                     stage.rig.port.vanish();
                     stage.console().exit();
                 }}});
    stage.requireEnded();
}

/// exit() while another thread copies the port's handle to light a lamp, and a key arrives.
void closeAgainstCopy(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.start();
    stage.play({{"owner", [&] { stage.console().exit(); }},
                {"editor", [&] { stage.console().lamp_set(30, 'F'); }},
                {"line", [&] { stage.rig.port.inject("E "); }}});
    stage.requireEnded();
}

/// Two threads that command at once, each its own lamps.
void twoHostThreads(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.start();
    stage.play({{"editor",
                 [&] {
                     stage.console().lamp_set(30, 'F');
                     stage.console().show_ispeed(1024);
                 }},
                {"player", [&] {
                     stage.console().lamp_set(31, 'B');
                     stage.console().enable_wheel();
                 }}});
    stage.requireLamps({1, 2, 3, 4, 30, 31});
    stage.console().exit();
    stage.requireEnded();
    stage.requireDark();
}

/// exit() on one thread, init() on another, in the host's turn.
void exitAgainstInit(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.restarts();
    stage.start();
    stage.play({{"closer", [&] { stage.alone([&] { stage.console().exit(); }); }},
                {"opener", [&] { stage.alone([&] { stage.console().init(); }); }}});
    stage.console().exit();
    stage.requireEnded();
}

/// The driver is unloaded after exit(), while bytes arrive.
void unloadAfterExit(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.start();
    stage.play({{"line", [&] { stage.rig.port.inject("E E "); }}, {"owner", [&] {
                                                                       stage.console().exit();
                                                                       stage.unload();
                                                                   }}});
    stage.requireEnded();
}

/// A thread that sees the console active can light a lamp.
void activeMeansReady(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.play({{"owner", [&] { stage.console().init(); }}, {"editor", [&] {
                                                                 stage.atAnyMoment(2s);
                                                                 if (!stage.console().active()) return;
                                                                 stage.console().lamp_set(30, 'F');
                                                                 stage.require(stage.hasSent("F30 "),
                                                                               "the console is active and takes no lamp");
                                                             }}});
    stage.console().exit();
    stage.requireEnded();
}

/// Two exit() at once. The interface does not promise that they work; the port handle bears it all the same.
void twoExits(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.start();
    stage.play({{"owner", [&] { stage.console().exit(); }}, {"another", [&] { stage.console().exit(); }}});
    stage.requireEnded();
}

constexpr Script all[] = {
    {"init-and-exit", initAndExit},
    {"exit-from-handler", exitFromHandler},
    {"unplug", unplug},
    {"close-against-copy", closeAgainstCopy},
    {"two-host-threads", twoHostThreads},
    {"exit-against-init", exitAgainstInit},
    {"unload-after-exit", unloadAfterExit},
    {"active-means-ready", activeMeansReady},
    {"two-exits", twoExits},
};

}  // namespace

std::span<const Script> scripts() { return all; }

}  // namespace schedules
