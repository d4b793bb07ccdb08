#include "tests/schedules/Stage.h"

#include <algorithm>

#include "tests/schedules/DriverAccesses.h"
#include "tests/schedules/Memory.h"
#include "tests/schedules/Scripts.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/SentText.h"

namespace schedules {
namespace {

using sim::Kind;
using support::isLampCommand;
using support::isStartUpText;
using support::isWheelCommand;

constexpr int lamps = 46;

}  // namespace

Stage::Stage(sim::ScheduleSearch& search, const desk::Options& options)
    : m_search(search), rig(options, {.timeLimit = 10min, .chooser = this}) {
    m_console = &rig.console();
    rig.world.watch = [this](const sim::Entry& entry) { watch(entry); };
    accesses::begin(search, console());
}

Stage::~Stage() {
    rig.world.watch = nullptr;
    rig.unload();
    accesses::end();
}

std::size_t Stage::choose(std::span<sim::Thread* const> candidates, bool interrupts) {
    const memory::Outside notTheRuns;
    if (!interrupts || !m_search.isOpen() || !accesses::isRepetition()) return m_search.choose(candidates, interrupts);
    m_search.pass();
    return 0;
}

void Stage::activate() {
    rig.activate();
    require(console().active(), "the console is not active");
}

void Stage::play(std::initializer_list<Actor> actors) {
    std::vector<sim::ThreadHandle> threads;
    m_search.open();
    for (const Actor& actor : actors) threads.push_back(rig.on_thread(actor.name, actor.act));
    for (const sim::ThreadHandle& thread : threads) rig.world.scheduler().join(thread);
    rig.world.scheduler().settle();
    m_search.close();
}

void Stage::alone(const std::function<void()>& act) {
    while (m_taken) rig.world.scheduler().wait(&m_taken, std::nullopt, "wait for the other");
    m_taken = true;
    accesses::takeOver();
    act();
    m_taken = false;
    rig.world.scheduler().wake(&m_taken);
}

void Stage::exit() {
    console().exit();
    accesses::exited();
}

void Stage::unload() {
    m_console = nullptr;
    rig.unload();
    accesses::driverUnloaded();
}

void Stage::require(bool holds, const std::string& what) {
    if (!holds) failed(what);
}

void Stage::requireEnded() {
    rig.run_for(1s);
    require(!rig.thread_runs(), "the start-up thread runs after exit()");
    require(!rig.world.scheduler().runs("rx ttyUSB0"), "a receive thread runs after exit()");
    require(rig.world.serial().handlerCount() == 0, "a receive callback is registered after exit()");
    require(rig.world.serial().openPorts() == 0, "a port is open after exit()");
    if (m_console == nullptr) return;
    require(ConsoleTestAccess::state(console()) == 0, "the console is active after exit()");
    require(!ConsoleTestAccess::port(console()), "a handle is held after exit()");
}

void Stage::requireDark() {
    for (int lamp = 1; lamp <= lamps; ++lamp) {
        require(rig.desk.lamp(lamp) == 'O', "lamp " + std::to_string(lamp) + " is lit after exit()");
    }
    require(!rig.desk.wheel_on(), "the wheel is on after exit()");
}

void Stage::requireLamps(std::initializer_list<int> some) {
    rig.run_for(1s);
    for (const int lamp : some) {
        require(ConsoleTestAccess::lampState(console(), lamp) == rig.desk.lamp(lamp),
                "console and desk disagree about lamp " + std::to_string(lamp));
    }
}

bool Stage::hasSent(std::string_view text) const {
    return std::ranges::any_of(rig.world.recording(),
                               [=](const sim::Entry& entry) { return entry.kind == Kind::sent && entry.text == text; });
}

void Stage::watch(const sim::Entry& entry) {
    if (entry.kind != Kind::sent) return;
    const bool fits =
        entry.thread == "ConsInit" ? isStartUpText(entry.text) : isLampCommand(entry.text) || isWheelCommand(entry.text);
    require(fits, entry.thread + " sent \"" + sim::escaped(entry.text) + "\"");
    if (m_restarts || entry.thread == "ConsInit" || m_console == nullptr) return;
    require(isWheelCommand(entry.text) || ConsoleTestAccess::state(console()) != 0,
            entry.thread + " sent \"" + entry.text + "\" to an inactive console");
}

}  // namespace schedules
