#include "tests/explore/maps/MapSession.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <variant>

#include "apps/common/ConsoleFacts.h"
#include "apps/cvhost/map/Mapping.h"
#include "apps/cvhost/run/RunMonitor.h"
#include "tests/explore/maps/Application.h"
#include "tests/support/ValueConsole.h"

namespace explore_maps {
namespace {

using cvhost::Event;

constexpr int unusablePort = 1;
constexpr unsigned canaryChance = 20;
constexpr int mostSteps = 60;
constexpr int mostStormPresses = 600;  // more than may wait, for a target or in it

/// The code under which the driver queues a key's press.
int queuedCode(int key) {
    for (int code = 0; code < common::keyCount; ++code) {
        if (common::keyOf(code) == key) return code;
    }
    return key;
}

class Session {
public:
    Session(std::uint64_t seed, const Order& order, std::string file);

    std::string run();

private:
    // The hands.
    void step();
    void handle(std::string_view bytes);
    void press(int key);
    void release(int key);
    void tap(int key);
    void storm();
    void turn();
    void unplug();

    // The host.
    void take(const Event& event);
    void claim();
    void changeMap();
    void write(const std::string& text);

    // The target.
    void trouble();
    void quiet();
    void check(const Application::State& state);
    void fail(const std::string& what) {
        if (m_problem.empty()) m_problem = what;
    }
    bool oneIn(std::uint64_t count) { return m_random.below(count) == 0; }

    const Order m_order;
    const std::string m_file;
    sim::Random m_random;
    const TargetKind m_kind;
    const bool m_troubled;  ///< the target is
    Application m_application;
    MapMaker m_maker{m_kind, m_application.oscPort()};
    ValueConsole m_console;
    std::optional<cvhost::map::Mapping> m_mapping;
    cvhost::run::RunMonitor m_monitor;
    std::set<int> m_down;                   ///< keys of the desk
    std::set<int> m_sure;                   ///< plain ones of them that the target must hold
    cvhost::map::Mapping::Codes m_claimed;  ///< by queued codes
    bool m_hanging = false;
    bool m_deaf = false;  ///< by a canary
    int m_marks = 0;
    std::string m_problem;
};

Session::Session(std::uint64_t seed, const Order& order, std::string file)
    : m_order(order),
      m_file(std::move(file)),
      m_random(seed),
      m_kind(static_cast<TargetKind>(m_random.below(3))),
      m_troubled(m_random.below(3) != 0),
      m_application(m_kind, order.canary, seed ^ 0x1111'0000'0000),
      m_monitor({[this](const Event& event) { take(event); }}, [] {}) {
    write(m_maker.make(m_random));
    m_mapping.emplace(cvhost::map::openMap(m_file), [this](const cvhost::map::Application& application) {
        if (application.port == unusablePort) throw cvhost::map::TargetFailure("nothing can be sent there");
        return m_application.makeTarget(application);
    });
    for (const std::string& problem : m_mapping->startTarget()) fail(problem);
    m_monitor.watchKeys(&m_console);
}

std::string Session::run() {
    for (int steps = m_random.between(5, mostSteps); steps > 0 && m_problem.empty(); --steps) {
        step();
        if (m_troubled) trouble();
        if (!m_hanging) quiet();
    }
    if (oneIn(2)) quiet();
    m_application.recover();
    m_mapping->end();
    m_down.clear();
    m_sure.clear();
    check(m_application.state());
    std::remove(m_file.c_str());
    return m_problem;
}

// The hands.

void Session::step() {
    const int key = m_random.between(1, hangKey - 1);
    switch (m_random.below(12)) {
        case 0:
        case 1:
        case 2:
        case 3:
            return press(oneIn(3) ? plainKeys.at(m_random.below(plainKeys.size())) : key);
        case 4:
        case 5:
        case 6:
            if (!m_down.empty()) release(*std::next(m_down.begin(), static_cast<long>(m_random.below(m_down.size()))));
            return;
        case 7:
            return turn();
        case 8:
            return storm();
        case 9:
            return claim();
        case 10:
            return oneIn(3) ? unplug() : turn();
        default:
            return oneIn(2) ? changeMap() : tap(key);
    }
}

void Session::handle(std::string_view bytes) {
    for (const char byte : bytes) m_monitor(cvhost::ByteHandled{static_cast<unsigned char>(byte)});
}

/// As the driver takes it: the key is marked and queued within its packet.
void Session::press(int key) {
    if (key == noKey || m_down.contains(key)) return;
    m_down.insert(key);
    const char letter = common::keyLetter(key);
    handle({&letter, 1});
    m_console.down.insert(key);
    const int code = queuedCode(key);
    m_monitor(cvhost::KeyQueued{.code = code, .handled = false, .flags = 0});
    handle(" ");
    if (std::ranges::count(plainKeys, key) != 0 && !m_claimed.test(static_cast<std::size_t>(code))) m_sure.insert(key);
}

void Session::release(int key) {
    m_down.erase(key);
    m_sure.erase(key);
    const char letter = common::keyLetter(key);
    handle({&letter, 1});
    handle("U");
    m_console.down.erase(key);
    handle(" ");
}

void Session::tap(int key) {
    if (key == noKey || m_down.contains(key)) return;
    press(key);
    release(key);
}

void Session::storm() {
    if (!m_hanging) return;
    for (int presses = m_random.between(1, mostStormPresses); presses > 0; --presses) tap(m_random.between(1, hangKey - 1));
}

void Session::turn() {
    const int speed = m_random.between(-4096, 4096);
    const int code = oneIn(2) ? common::keys::ring : common::keys::wheel;
    m_monitor(cvhost::HandlerRun{
        .code = code, .speed = oneIn(3) ? 0 : speed, .jog = 0, .jogExact = speed / 256.0, .wheelEnabled = true});
}

/// Another console is plugged in: none of its keys is down.
void Session::unplug() {
    m_down.clear();
    m_sure.clear();
    m_console.down.clear();
    m_monitor(cvhost::PortChange{.name = "p", .state = cvhost::PortState::lost});
    m_monitor(cvhost::PortChange{.name = "p", .state = cvhost::PortState::open});
}

// The host.

void Session::take(const Event& event) {
    const auto* queued = std::get_if<cvhost::KeyQueued>(&event);
    const auto* released = std::get_if<cvhost::KeyReleased>(&event);
    const bool isMark = queued != nullptr && common::keyOf(queued->code) >= hangKey;
    if (m_deaf && !isMark) return;
    if (m_order.canary == Canary::lostPress && queued != nullptr && !isMark && oneIn(canaryChance)) return;
    if (m_order.canary == Canary::lostRelease && released != nullptr && oneIn(canaryChance)) return;
    const bool unplugged = std::holds_alternative<cvhost::PortChange>(event) || (released != nullptr && released->lost);
    if (m_order.canary == Canary::lostUnplug && unplugged) return;
    if (m_order.canary == Canary::waits && !isMark) m_application.waitUntilRecovered();
    (*m_mapping)(event);
}

void Session::claim() {
    m_claimed.reset();
    for (int codes = m_random.between(0, 5); codes > 0; --codes) {
        m_claimed.set(static_cast<std::size_t>(m_random.between(0, hangKey - 1)));
    }
    m_mapping->setClaimed(m_claimed);
}

void Session::changeMap() {
    auto kind = m_random.below(6);
    if (kind == 1 && m_application.isGone()) kind = 0;
    const bool retargets = kind == 1 || m_kind == TargetKind::osc;
    if (retargets && std::exchange(m_hanging, false)) m_application.recover();
    if (kind == 0) write("target = 'keys'\n[keys]\nE = 'spcae'\n");
    if (kind == 1) write("target = 'osc'\nport = " + std::to_string(unusablePort) + "\n");
    if (kind == 2) std::remove(m_file.c_str());
    if (kind > 2) write(m_maker.make(m_random));
    const auto news = m_mapping->refresh();
    if (news.changed != (kind > 2)) fail(kind > 2 ? "a changed map was not taken over" : "a broken map was taken over");
    if (news.changed && !news.problems.empty()) fail("a good map has a problem: " + news.problems.front());
    if (news.changed || kind == 1) m_sure.clear();
    if (m_order.canary == Canary::deafAfterChange && news.changed) m_deaf = true;
}

/// A file of its own each time, so that every change is seen.
void Session::write(const std::string& text) {
    const std::string next = m_file + ".new";
    std::ofstream(next) << text;
    if (std::rename(next.c_str(), m_file.c_str()) != 0) fail("a map cannot be written");
}

// The target.

void Session::trouble() {
    if (m_application.isGone()) return;
    switch (m_random.below(8)) {
        case 0:
            if (std::exchange(m_hanging, true)) return;
            return m_application.hang([this] { tap(hangKey); });
        case 1:
        case 2:
            return m_application.allow(m_random.between(1, 20));
        case 3:
            m_hanging = false;
            return m_application.recover();
        case 4:
            if (m_kind == TargetKind::keys && oneIn(4)) m_application.fail();
            return;
        default:
            m_mapping->showLamps(m_console, oneIn(4));
            m_mapping->takeLegends();
            m_mapping->failure();
    }
}

/// Waits until the target has done all that it was asked to do.
void Session::quiet() {
    m_hanging = false;
    m_application.recover();
    press(markKey);
    const bool done = m_application.waitForMarks(++m_marks, m_order.patience);
    release(markKey);  // only now: what comes after the mark may take its place
    if (!done) return fail("the target no longer gets its actions");
    check(m_application.state());
}

void Session::check(const Application::State& state) {
    if (!state.problem.empty()) fail(state.problem);
    for (const int key : state.holds) {
        if (!m_down.contains(key)) fail("the target holds for the key " + std::to_string(key) + ", which is up on the desk");
    }
    for (const std::string& name : state.down) {
        if (!state.due.contains(name)) fail(name + " is held in the target for no key of the desk");
    }
    for (const int key : m_sure) {
        if (!m_troubled && !state.holds.contains(key)) fail("the key " + std::to_string(key) + " is down and does nothing");
    }
}

}  // namespace

std::string runSession(std::uint64_t seed, const Order& order, const std::string& file) {
    try {
        return Session(seed, order, file).run();
    } catch (const std::exception& error) {
        return error.what();
    }
}

}  // namespace explore_maps
