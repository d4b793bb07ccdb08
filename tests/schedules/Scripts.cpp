#include "tests/schedules/Scripts.h"

#include "tests/schedules/Stage.h"
#include "tests/support/Driver.h"

namespace schedules {
namespace {

constexpr int mostThreads = 16;
constexpr int keyCode = 5;  // of "E"

/// Its monitor never answers, so that start-up is a few bytes long.
constexpr desk::Options withoutMonitor{.noMonitor = true, .unpaced = true};
constexpr desk::Options withMonitor{.unpaced = true};

void initAndExit(sim::ScheduleSearch& search, const desk::Options& options) {
    Stage stage(search, options);
    stage.play({{"owner", [&] {
                     stage.console().init();
                     stage.atAnyMoment();
                     stage.exit();
                 }}});
    stage.requireEnded();
}

/// exit() at each moment of start-up and after it.
void exitAtAnyMoment(sim::ScheduleSearch& search) { initAndExit(search, withoutMonitor); }
void exitDuringDialogue(sim::ScheduleSearch& search) { initAndExit(search, withMonitor); }

void initAndUnplug(sim::ScheduleSearch& search, const desk::Options& options) {
    Stage stage(search, options);
    stage.play({{"owner", [&] {
                     stage.console().init();
                     stage.atAnyMoment();
                     stage.rig.port.vanish();
                     stage.rig.world.scheduler().sleep(1s);
                     stage.exit();
                 }}});
    stage.requireEnded();
}

/// The adapter is pulled out at each moment of start-up, and a second later exit() is called.
void unplugAtAnyMoment(sim::ScheduleSearch& search) { initAndUnplug(search, withoutMonitor); }
void unplugDuringDialogue(sim::ScheduleSearch& search) { initAndUnplug(search, withMonitor); }

/// A key arrives, and its handler calls exit(); another thread lights lamps meanwhile.
void exitFromHandler(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
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

/// exit() while another thread copies the port's handle to light a lamp.
void closeAgainstCopy(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"owner", [&] { stage.exit(); }}, {"editor", [&] { stage.console().lamp_set(30, 'F'); }}});
    stage.requireEnded();
}

/// exit() while a key arrives, and the receive thread copies the handle.
void closeAgainstKey(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"owner", [&] { stage.exit(); }}, {"line", [&] { stage.rig.port.inject("E "); }}});
    stage.requireEnded();
}

/// Both.
void closeAgainstBoth(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"owner", [&] { stage.exit(); }},
                {"editor", [&] { stage.console().lamp_set(30, 'F'); }},
                {"line", [&] { stage.rig.port.inject("E "); }}});
    stage.requireEnded();
}

/// Two threads that command at once, each its own lamps.
void twoHostThreads(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
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
    stage.exit();
    stage.requireEnded();
    stage.requireDark();
}

/// exit() on one thread, init() on another, in the host's turn.
void exitAgainstInit(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.restarts();
    stage.activate();
    stage.play({{"closer", [&] { stage.alone([&] { stage.console().exit(); }); }},
                {"opener", [&] { stage.alone([&] { stage.console().init(); }); }}});
    stage.exit();
    stage.requireEnded();
}

/// The driver is unloaded after exit(), while bytes arrive.
void unloadAfterExit(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"line", [&] { stage.rig.port.inject("E "); }}, {"owner", [&] {
                                                                     stage.exit();
                                                                     stage.unload();
                                                                 }}});
    stage.requireEnded();
}

/// A thread that sees the console active can light a lamp.
void versionArrives(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.console().open_port();
    stage.play({{"line", [&] { stage.rig.port.inject("V007 "); }},
                {"editor", [&] {
                     if (!stage.console().active()) return;
                     stage.console().lamp_set(30, 'F');
                     stage.require(stage.hasSent("F30 "), "the console is active and takes no lamp");
                 }}});
    stage.exit();
    stage.requireEnded();
}

/// A version reply arrives during exit(): it must not make the console active for good.
void exitAgainstVersion(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"owner", [&] { stage.exit(); }}, {"line", [&] { stage.rig.port.inject("V007 "); }}});
    stage.requireEnded();
}

/// What arrives as soon as the receive callback is registered is not left lying.
void openAgainstVersion(sim::ScheduleSearch& search) {
    Stage stage(search);
    bool sent = false;
    stage.play({{"owner", [&] { stage.console().open_port(); }}, {"line", [&] {
                                                                      stage.atAnyMoment();
                                                                      sent = stage.rig.world.serial().handlerCount() != 0;
                                                                      if (sent) stage.rig.port.inject("V007 ");
                                                                  }}});
    stage.require(!sent || stage.console().active(), "bytes that had arrived were not taken");
    stage.exit();
    stage.requireEnded();
}

/// Movement that the console reports once the wheel is on finds it on: it is no reason to press the jog key.
void wheelAgainstMovement(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"editor", [&] { stage.console().enable_wheel(); }}, {"line", [&] {
                                                                          stage.atAnyMoment();
                                                                          if (stage.hasSent("W "))
                                                                              stage.rig.port.inject("\\7F400000 ");
                                                                      }}});
    stage.require(stage.rig.keys().empty(), "the driver pressed a key");
    stage.exit();
    stage.requireEnded();
}

/// The port is closed twice at once. Nobody promises that this works; the port's handle bears it all the same.
void twoClosings(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"owner", [&] { stage.console().close_port(); }}, {"another", [&] { stage.console().close_port(); }}});
    stage.exit();
    stage.requireEnded();
}

/// A handle is copied while its port is closed and another one opened: the limit that docs/decisions/0002 names.
void reopenAgainstCopy(sim::ScheduleSearch& search) {
    Stage stage(search);
    stage.activate();
    stage.play({{"owner",
                 [&] {
                     stage.console().close_port();
                     stage.console().open_port();
                 }},
                {"editor", [&] { stage.console().lamp_set(30, 'F'); }}});
    stage.exit();
    stage.requireEnded();
}

constexpr Script all[] = {
    {"exit-at-any-moment", exitAtAnyMoment, 2},
    {"exit-during-dialogue", exitDuringDialogue, 1},
    {"unplug-at-any-moment", unplugAtAnyMoment, 2},
    {"unplug-during-dialogue", unplugDuringDialogue, 1},
    {"exit-from-handler", exitFromHandler, 2},
    {"close-against-copy", closeAgainstCopy, 2},
    {"close-against-key", closeAgainstKey, 2},
    {"close-against-both", closeAgainstBoth, 1},
    {"two-host-threads", twoHostThreads, 2},
    {"exit-against-init", exitAgainstInit, 1},
    {"unload-after-exit", unloadAfterExit, 2},
    {"version-arrives", versionArrives, 2},
    {"exit-against-version", exitAgainstVersion, 2},
    {"open-against-version", openAgainstVersion, 2},
    {"wheel-against-movement", wheelAgainstMovement, 2},
    {"two-closings", twoClosings, 2},
    {"reopen-against-copy", reopenAgainstCopy, 2, true},
};

}  // namespace

std::span<const Script> scripts() { return all; }

void prepare() {
    support::fixBeyondPlayMultiplier();
    sim::World world;
    for (int i = 0; i < mostThreads; ++i) world.scheduler().start("idle", [] {});
    world.scheduler().settle();
}

const char* const command = "schedules";

}  // namespace schedules
