#include "tests/explore/Session.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>

#include "console/Settings.h"
#include "host/api/ConsoleInput.h"
#include "host/api/HostAllocator.h"
#include "host/core/KeyQueue.h"
#include "host/core/Settings.h"
#include "host/sim/World.h"
#include "tests/explore/Checks.h"
#include "tests/explore/Digest.h"
#include "tests/explore/Packets.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Driver.h"

namespace explore {
namespace {

using namespace std::chrono_literals;
using sim::Random;
using sim::Time;

constexpr const char* preference = "HardwareConsoleEnabled";
constexpr int forwardLamp = 1;
constexpr int firstHostLamp = 5;     // below it: those that speeds and the wheel drive
constexpr int firstEditorLamp = 21;  // each thread has lamps of its own, so that cache and desk must agree
constexpr int lastLamp = 46;
constexpr char lampStates[] = {'O', 'F', 'H', 'B'};

class Session final : PacketListener, ConsoleHandler {
public:
    Session(const Plan& plan, Canary canary);
    ~Session();

    Result run();

private:
    // The threads.
    void host();
    void editor();
    void operate();
    void trouble();

    // What the host does.
    void startUp();
    void hostStep();
    void wheelStep();
    void windDown();
    void own(bool start);
    bool execute(int code) override;
    void callBack(int code);

    // What the operator does.
    void press();
    void release();

    // Trouble.
    void setLine();
    void portTrouble();
    void consoleTrouble();
    void hostTrouble();

    void packet(Cv::Console& console, char* text, int length) override;
    bool oneIn(unsigned count) { return m_canaryRandom.below(count) == 0; }

    void pause(Random& random, int mostMs) { m_world.scheduler().sleep(1us * random.between(0, mostMs * 1000)); }
    Cv::Console& console() { return m_plugin->console(); }
    bool startUpRuns() { return m_world.scheduler().runs("ConsInit"); }

    const Plan& m_plan;
    const Canary m_canary;
    Random m_hostRandom;
    Random m_editorRandom;
    Random m_operatorRandom;
    Random m_troubleRandom;
    Random m_handlerRandom;
    Random m_canaryRandom;
    sim::World m_world;
    Checks m_checks;
    sim::Line& m_line;
    desk::Desk& m_desk;
    ConsoleHandlerTable m_handlers;
    std::optional<support::Plugin> m_plugin;
    std::vector<char> m_held;
    bool m_ownerBusy = false;  // init() and exit() are for one thread at a time
    bool m_inHandler = false;  // handlers do not call themselves
    bool m_handlerHasWheel;    // as in a host whose jog key switches the wheel
    bool m_disables;
    bool m_becameActive = false;
    Situations m_situations;
};

Session::Session(const Plan& plan, Canary canary)
    : m_plan(plan),
      m_canary(canary),
      m_hostRandom(plan.seed ^ 0x1111'0000'0000),
      m_editorRandom(plan.seed ^ 0x2222'0000'0000),
      m_operatorRandom(plan.seed ^ 0x3333'0000'0000),
      m_troubleRandom(plan.seed ^ 0x4444'0000'0000),
      m_handlerRandom(plan.seed ^ 0x5555'0000'0000),
      m_canaryRandom(plan.seed ^ 0x6666'0000'0000),
      m_world(plan.schedule),
      m_checks(plan, m_world.recording()),
      m_line(m_world.addPort("/dev/ttyUSB0", "Corvane Console")),
      m_desk(m_line.attachDesk(plan.desk)),
      m_handlerHasWheel(m_hostRandom.below(2) == 0),
      m_disables(m_hostRandom.below(2) == 0) {
    support::resetDriver();
    Cv::s_consoleDebug = plan.debug;
    Cv::s_autoJogTurnOn = plan.autoJog;
    Cv::s_autoJogTriggerLevel = plan.autoJogLevel;
    cvhost::settings().setPreference(preference, !plan.has(fault::host) || m_hostRandom.below(8) != 0);
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) {
        if (m_handlerRandom.below(3) != 0) m_handlers.set(code, this);
    }
    if (m_handlerRandom.below(8) != 0) ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&m_handlers);
    setLine();
    m_world.watch = [this](const sim::Entry& entry) {
        m_checks.watch(entry, m_plugin ? &console() : nullptr);
        m_situations.watch(entry, m_plugin && console().active());
    };
    setPacketListener(this);
}

Session::~Session() {
    setPacketListener(nullptr);
    support::resetDriver();
}

Result Session::run() {
    host();
    m_plugin.reset();
    m_checks.afterUnload(m_world.serial());
    Result result;
    result.outcome = {.failures = m_checks.failures(),
                      .digest = digestOf(m_world.recording()),
                      .becameActive = m_becameActive,
                      .packets = m_checks.packets(),
                      .keys = m_checks.keys(),
                      .seconds = std::chrono::duration<double>(m_world.now()).count(),
                      .situations = m_situations.reached()};
    result.recording = m_world.recording();
    return result;
}

void Session::setLine() {
    Random& random = m_troubleRandom;
    const auto rate = [&] { return static_cast<unsigned>(random.below(random.below(2) == 0 ? 1'000 : 50'000)); };
    if (m_plan.has(fault::bytes)) {
        m_line.toHost = {rate(), rate(), rate()};
        m_line.toPeer = {rate(), rate(), rate()};
    }
    if (m_plan.has(fault::noise)) m_line.setNoise(1ms * random.between(1, 500));
    if (m_plan.has(fault::bursts)) {
        m_line.holdBack = 1ms * random.between(1, m_plan.healthyLine() ? 16 : 200);
        m_line.holdBackVaries = random.below(2) == 0;
    }
    if (m_plan.has(fault::ports)) {
        m_line.failingOpens = static_cast<unsigned>(random.below(3));
        m_line.openError = random.below(8) == 0 ? 5 : 0;
        m_line.listed = random.below(4) != 0;
    }
    if (m_plan.has(fault::writes)) m_line.failingWrites = static_cast<unsigned>(random.below(200'000));
    if (m_canary == Canary::lostLamp) m_line.toPeer.lost = 3'000;
}

// The host's own thread.

void Session::host() {
    m_plugin.emplace();
    m_checks.begin(console());
    startUp();
    sim::Scheduler& scheduler = m_world.scheduler();
    std::vector<sim::ThreadHandle> threads = {scheduler.start("operator", [this] { operate(); }),
                                              scheduler.start("editor", [this] { editor(); })};
    if (m_plan.has(fault::ports | fault::console | fault::host))
        threads.push_back(scheduler.start("trouble", [this] { trouble(); }));
    for (int step = 0; step < m_plan.steps; ++step) {
        pause(m_hostRandom, 40);
        m_becameActive |= console().active();
        hostStep();
    }
    for (const sim::ThreadHandle& thread : threads) scheduler.join(thread);
    windDown();
}

void Session::startUp() {
    own(true);
    if (m_plan.healthy()) {
        m_checks.require(m_world.runUntil([this] { return !startUpRuns(); }, 10s), "start-up does not end");
        m_checks.require(console().active(), "a healthy console was not found");
    } else {
        pause(m_hostRandom, 4000);
        // Long enough for all attempts on one port.
        if (m_plan.desk.silent && m_hostRandom.below(4) == 0) m_world.scheduler().sleep(30s);
    }
}

void Session::hostStep() {
    Random& random = m_hostRandom;
    const char state = lampStates[random.below(std::size(lampStates))];
    switch (random.below(12)) {
        case 0:
        case 1:
        case 2:
            return console().lamp_set(random.between(firstHostLamp, firstEditorLamp - 1), state);
        case 3:
            return console().lamp_set(random.between(-3, 0), state);
        case 4:
            return console().lamp_set(random.between(lastLamp + 1, 100), state);
        case 5:
            return console().show_ispeed(std::array{0, 1024, -1024, 30000, -30000, 5, -5}[random.below(7)]);
        case 6:
            return console().force_mode(random.between(-1, 20));
        case 7:
            return console().force_stop();
        case 8:
            console().set_ispeed(random.between(-30000, 30000));
            m_checks.require(!console().key_is_down(random.between(48, 300)), "a code that is no key is held");
            return;
        case 9:
            while (cvhost::keyQueue().take()) continue;
            return;
        case 10:
            if (!m_disables) return;
            m_checks.disabled();
            return random.below(2) == 0 ? console().disable() : console().enable();
        default:
            if (m_plan.has(fault::host) && random.below(4) == 0) return own(random.below(2) == 0);
            return wheelStep();
    }
}

void Session::wheelStep() {
    if (m_handlerHasWheel) return;
    switch (m_hostRandom.below(4)) {
        case 0:
            return console().enable_wheel();
        case 1:
            return console().disable_wheel();
        case 2:
            return console().suspend_wheel();
        default:
            return console().enable_suspended_wheel();
    }
}

/// init() or exit(), unless a handler is in the middle of one.
void Session::own(bool start) {
    while (m_ownerBusy) m_world.scheduler().sleep(1ms);
    m_ownerBusy = true;
    if (start) {
        if (console().active()) m_checks.restartedWhileActive();
        console().init();
    } else {
        m_situations.reachIf(m_inHandler && m_world.scheduler().currentName().starts_with("rx"), Situation::exitInHandler);
        m_situations.exit(console());
    }
    m_ownerBusy = false;
}

void Session::windDown() {
    sim::Scheduler& scheduler = m_world.scheduler();
    if (m_plan.healthyLine()) {
        cvhost::settings().setPreference(preference, true);
        scheduler.runUntil([this] { return !startUpRuns(); }, 30s);
        scheduler.runFor(1s);
    }
    m_checks.atRest(console(), m_desk);
    m_becameActive |= console().active();
    const bool wasRunning = console().active() && !startUpRuns();
    m_ownerBusy = true;  // handlers leave it alone from now on
    m_situations.exit(console());
    m_checks.exited();
    if (m_canary == Canary::lampOnAfterExit) {
        for (const char byte : {'F', '9', ' '}) m_desk.receive(static_cast<unsigned char>(byte), m_world.now());
    }
    if (m_canary == Canary::leak && oneIn(20)) hostAllocator().allocate(1, 1);
    scheduler.runFor(1s);
    m_checks.afterExit(console(), m_desk, wasRunning, m_world.serial());
}

/// Another of the host's threads.
void Session::editor() {
    Random& random = m_editorRandom;
    for (int step = 0; step < m_plan.steps; ++step) {
        pause(random, 60);
        const int lamp = random.between(firstEditorLamp, lastLamp);
        console().lamp_set(lamp, lampStates[random.below(std::size(lampStates))]);
        if (m_canary == Canary::chatter) console().console_puts("F9 ");
    }
}

bool Session::execute(int code) {
    m_world.record(sim::Kind::note, "handler " + std::to_string(code));
    m_world.scheduler().point("handler");
    if (m_inHandler) return false;
    m_inHandler = true;
    if (code == 28 && m_handlerHasWheel) {
        if (console().wheel_enabled()) {
            console().disable_wheel();
        } else {
            console().enable_wheel();
        }
    }
    if (m_plan.has(fault::host)) callBack(code);
    m_inHandler = false;
    return m_handlerRandom.below(2) == 0;
}

void Session::callBack(int code) {
    Random& random = m_handlerRandom;
    switch (random.below(10)) {
        case 0:
            return console().lamp_set(random.between(forwardLamp, lastLamp), 'F');
        case 1:
            return console().disable();
        case 2:
            return console().enable();
        case 3:
            return console().suspend_wheel();
        case 4:
            return console().enable_suspended_wheel();
        case 5:
            return console().force_mode(code);
        case 6:
            return console().show_ispeed(console().get_ispeed());
        case 7:
            while (cvhost::keyQueue().take()) continue;
            return;
        case 8:
            if (m_ownerBusy || random.below(4) != 0) return;
            return own(random.below(2) == 0);
        default:
            return;
    }
}

// The operator.

void Session::press() {
    char key = 'V';  // is taken for a version by the driver
    while (key == 'V' || std::ranges::find(m_held, key) != m_held.end()) {
        key = static_cast<char>(m_operatorRandom.between('@', 'o'));
    }
    if (!m_desk.programRunning()) return;
    m_held.push_back(key);
    m_checks.pressed(key);
    m_desk.press(key, m_world.now());
}

void Session::release() {
    if (m_held.empty()) return;
    const auto place = m_held.begin() + static_cast<std::ptrdiff_t>(m_operatorRandom.below(m_held.size()));
    m_desk.release(*place, m_world.now());
    m_held.erase(place);
}

void Session::operate() {
    Random& random = m_operatorRandom;
    for (int step = 0; step < m_plan.steps; ++step) {
        pause(random, 60);
        const Time now = m_world.now();
        switch (random.below(8)) {
            case 0:
            case 1:
            case 2:
                press();
                break;
            case 3:
            case 4:
                release();
                break;
            case 5:
                m_desk.shuttle(static_cast<unsigned char>(random.below(256)), now);
                break;
            case 6: {
                const auto counts = static_cast<std::int8_t>(random.between(-128, 127));
                m_desk.jog(counts, static_cast<std::int16_t>(random.between(-32768, 32767)), now);
                break;
            }
            default:
                m_desk.forward(random.below(2) == 0 ? "VExpP" : "D12", now);
        }
    }
    while (!m_held.empty()) {
        pause(random, 5);
        release();
    }
}

// Trouble.

void Session::trouble() {
    for (int step = 0; step < m_plan.steps / 2; ++step) {
        pause(m_troubleRandom, 500);
        if (m_plan.has(fault::ports)) portTrouble();
        if (m_plan.has(fault::console)) consoleTrouble();
        if (m_plan.has(fault::host)) hostTrouble();
    }
}

void Session::portTrouble() {
    Random& random = m_troubleRandom;
    switch (random.below(7)) {
        case 0:
            m_line.vanish();
            break;
        case 1:
            m_line.failingOpens = static_cast<unsigned>(random.below(5));
            break;
        case 2:
            m_line.openError = random.below(3) == 0 ? 5 : 0;
            break;
        case 3:
            m_line.listed = !m_line.listed;
            break;
        case 4:
            m_line.description = random.below(2) == 0 ? "USB Serial Port" : "usb serial port";
            break;
        case 5:
            if (m_world.findPort("/dev/ttyS0") == nullptr) m_world.addPort("/dev/ttyS0", "USB Serial Port");
            break;
        default:
            m_line.appear();
            for (const auto& line : m_world.ports()) line->listed = line.get() == &m_line;
    }
}

void Session::consoleTrouble() {
    switch (m_troubleRandom.below(3)) {
        case 0:
            return m_desk.powerCycle(m_world.now());
        case 1:
            m_line.rtsStuck = !m_line.rtsStuck;
            return;
        default:
            return m_desk.raw("\r\nEPROM>V007 \\7F000000 ~~E ", m_world.now());
    }
}

void Session::hostTrouble() {
    Random& random = m_troubleRandom;
    const int code = random.between(0, ConsoleHandlerTable::codes - 1);
    switch (random.below(5)) {
        case 0:
            return cvhost::settings().setPreference(preference, random.below(3) != 0);
        case 1:
            for (std::size_t i = 0; i < cvhost::KeyQueue::capacity; ++i) cvhost::keyQueue().add({1, false, 0});
            return;
        case 2:
            m_situations.reachIf(m_inHandler, Situation::tableGoneDuringCall);
            return ConsoleHandlerManager::theManager()->setCurrentHandlerTable(nullptr);
        case 3:
            return ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&m_handlers);
        default:
            m_handlers.set(code, random.below(2) == 0 ? this : nullptr);
    }
}

// Packets, and what canaries do to them.

void Session::packet(Cv::Console& target, char* text, int length) {
    const bool isKey = length == 1;
    const bool isRelease = length == 2 && text[1] == 'U';
    if (m_canary == Canary::lostKey && isKey && oneIn(20)) return;
    if (m_canary == Canary::longPacket && oneIn(500)) length += 12;
    if (m_canary == Canary::crash && oneIn(500)) std::raise(SIGSEGV);
    if (m_canary == Canary::hang && oneIn(500)) m_world.scheduler().wait(this, std::nullopt, "canary");
    m_situations.packet({text, static_cast<std::size_t>(length)}, target.active());
    const bool skipped = m_canary == Canary::lostRelease && isRelease && oneIn(20);
    m_checks.packet(target, text, length, [&] {
        if (!skipped) decode(target, text, length);
    });
    char invented[] = "E";
    if (m_canary == Canary::inventedKey && oneIn(50)) decode(target, invented, 1);
}

}  // namespace

Result runSession(const Plan& plan, Canary canary) { return Session(plan, canary).run(); }

}  // namespace explore
