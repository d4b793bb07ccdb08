#include "tests/explore/maps/Application.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <span>
#include <utility>
#include <variant>

#include "apps/cvhost/map/OscFormat.h"
#include "apps/cvhost/map/OscTarget.h"
#include "apps/cvhost/map/Strokes.h"

namespace explore_maps {
namespace {

using cvhost::map::Chord;
using cvhost::map::InputEvent;
using cvhost::map::MpvKey;
using cvhost::map::MpvKeys;
using cvhost::map::Stroke;

/// The mouse's wheel has events too.
constexpr std::uint16_t keyEvent = 1;
constexpr unsigned canaryChance = 20;
constexpr int inventedHold = 44;

Stroke strokeOf(TargetKind kind, const std::string& text) { return std::get<Stroke>(cvhost::map::parseStroke(kind, text)); }

std::string keyText(std::uint16_t code) { return "key " + std::to_string(code); }

/// What is held in the program while the stroke is.
Names namesOf(const Stroke& stroke) {
    if (const auto* chord = std::get_if<Chord>(&stroke)) {
        Names names;
        for (const auto key : std::span(chord->keys).first(chord->count)) names.insert(keyText(key));
        return names;
    }
    if (const auto* message = std::get_if<std::shared_ptr<const cvhost::map::OscMessage>>(&stroke))
        return {(*message)->address};
    if (const auto* key = std::get_if<MpvKey>(&stroke)) return {*key->name};
    return {};
}

bool isMark(const Action& action, const Stroke& mark) {
    return action.kind == Action::Kind::tap && cvhost::map::strokeText(action.stroke) == cvhost::map::strokeText(mark);
}

}  // namespace

class Application::FaultyTarget final : public cvhost::map::Target {
public:
    FaultyTarget(Application& application, std::unique_ptr<Target> osc)
        : m_application(application), m_osc(std::move(osc)) {}
    FaultyTarget(const FaultyTarget&) = delete;
    FaultyTarget& operator=(const FaultyTarget&) = delete;
    ~FaultyTarget() override { m_application.go(); }
    void take(const Action& action) override { m_application.take(action, m_osc.get()); }

private:
    Application& m_application;
    const std::unique_ptr<Target> m_osc;
};

Application::Application(TargetKind kind, Canary canary, std::uint64_t seed)
    : m_kind(kind),
      m_canary(canary),
      m_mark(strokeOf(kind, markOf(kind))),
      m_random(seed),
      m_strokes([this](std::span<const InputEvent> together) {
          for (const InputEvent& event : together) {
              if (event.type == keyEvent) change(keyText(event.code), event.value != 0);
          }
      }) {
    if (kind != TargetKind::osc) return;
    m_osc = cvhost::owned(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket");
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const general = reinterpret_cast<sockaddr*>(&address);
    if (::bind(m_osc.get(), general, size) != 0 || ::getsockname(m_osc.get(), general, &size) != 0) std::abort();
    m_oscPort = ntohs(address.sin_port);
}

std::unique_ptr<cvhost::map::Target> Application::makeTarget(const cvhost::map::Application& application) {
    std::unique_ptr<cvhost::map::Target> osc;
    if (m_kind == TargetKind::osc) osc = std::make_unique<cvhost::map::OscTarget>(application, [] {});
    const std::lock_guard lock(m_mutex);
    m_gone = false;
    return std::make_unique<FaultyTarget>(*this, std::move(osc));
}

void Application::hang(const std::function<void()>& act) {
    {
        const std::lock_guard lock(m_mutex);
        m_allowed = 0;
        m_passing = m_kind == TargetKind::mpv && oneIn(2);
    }
    act();
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_waiting || m_passing || m_gone; });
}

void Application::allow(int actions) {
    const std::lock_guard lock(m_mutex);
    if (m_allowed) *m_allowed += actions;
    m_changed.notify_all();
}

void Application::recover() {
    const std::lock_guard lock(m_mutex);
    m_allowed.reset();
    m_changed.notify_all();
}

void Application::fail() {
    const std::lock_guard lock(m_mutex);
    m_failing = true;
}

bool Application::waitForMarks(int count, std::chrono::seconds patience) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, patience, [&] { return m_marks >= count || m_gone; });
}

void Application::waitUntilRecovered() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_allowed; });
}

Application::State Application::state() {
    const std::lock_guard lock(m_mutex);
    takeCommands();
    takePackets();
    State state{.holds = {}, .due = {}, .down = m_down, .problem = m_problem};
    for (const auto& [hold, names] : m_holds) {
        state.holds.insert(hold);
        state.due.insert(names.begin(), names.end());
    }
    return state;
}

bool Application::isGone() {
    const std::lock_guard lock(m_mutex);
    return m_gone;
}

void Application::take(const Action& action, cvhost::map::Target* osc) {
    std::unique_lock lock(m_mutex);
    m_waiting = true;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return !m_allowed || m_passing || *m_allowed > 0; });
    m_waiting = false;
    if (m_allowed && !m_passing) --*m_allowed;
    if (m_failing) throw cvhost::map::TargetFailure("it has failed on purpose");
    if (isMark(action, m_mark)) {
        ++m_marks;
        m_changed.notify_all();
        return;
    }
    if (m_canary == Canary::keptOnRelease && action.kind == Action::Kind::releaseAll) return;
    if (m_canary == Canary::inventedPress && oneIn(canaryChance))
        pass({.kind = Action::Kind::press, .hold = inventedHold, .stroke = m_mark}, osc);
    if (m_canary == Canary::swapped && !m_late && action.kind == Action::Kind::press && oneIn(2)) {
        m_late = action;
        return;
    }
    pass(action, osc);
    if (const auto late = std::exchange(m_late, std::nullopt)) pass(*late, osc);
}

/// The target has ended. If it was a keyboard, the kernel has removed it.
void Application::go() {
    const std::lock_guard lock(m_mutex);
    m_gone = true;
    m_changed.notify_all();
    if (m_kind != TargetKind::keys) return;
    m_holds.clear();
    m_down.clear();
}

void Application::pass(const Action& action, cvhost::map::Target* osc) {
    note(action);
    if (m_kind == TargetKind::keys) m_strokes.take(action);
    if (m_kind == TargetKind::mpv) passToMpv(action);
    if (m_kind == TargetKind::osc) osc->take(action);
    if (!m_allowed) takeCommands();  // while it is slow, commands wait
    takePackets();
}

void Application::note(const Action& action) {
    if (action.kind == Action::Kind::press) m_holds[action.hold] = namesOf(action.stroke);
    if (action.kind == Action::Kind::release) m_holds.erase(action.hold);
    if (action.kind == Action::Kind::releaseAll) m_holds.clear();
}

void Application::passToMpv(const Action& action) {
    const auto tap = [this](const Stroke& stroke) {
        if (const auto* key = std::get_if<MpvKey>(&stroke)) m_mpvKeys.tap(*key->name);
    };
    if (action.kind == Action::Kind::press) m_mpvKeys.press(action.hold, *namesOf(action.stroke).begin());
    if (action.kind == Action::Kind::release) m_mpvKeys.release(action.hold);
    if (action.kind == Action::Kind::releaseAll) m_mpvKeys.releaseAll();
    if (action.kind == Action::Kind::tap) tap(action.stroke);
    if (action.kind == Action::Kind::turn) tap(action.amount < 0 ? action.wheel.backward : action.wheel.forward);
}

void Application::takeCommands() {
    while (const auto command = m_mpvKeys.takeCommand()) {
        if (command->verb != "keypress") change(command->key, command->verb == "keydown");
    }
}

void Application::takePackets() {
    std::array<char, 4096> packet;
    for (ssize_t got = 0; m_osc && (got = ::recv(m_osc.get(), packet.data(), packet.size(), 0)) > 0;) {
        cvhost::map::readPacket(std::span(packet).first(static_cast<std::size_t>(got)),
                                [this](std::string_view address, double value) {
                                    const bool isKey = address.size() == 2;
                                    if (isKey) change(std::string(address), value > 0);
                                });
    }
}

/// Two holds may share an OSC address, so a message that says what is so already is no fault there.
void Application::change(const std::string& key, bool down) {
    if (m_canary == Canary::stuckKey && !down && oneIn(canaryChance)) return;
    const bool changes = down ? m_down.insert(key).second : m_down.erase(key) != 0;
    const bool twice = !changes || (m_canary == Canary::doublePress && down && oneIn(canaryChance));
    if (twice && m_kind != TargetKind::osc && m_problem.empty())
        m_problem = key + (down ? " is pressed while it is down" : " is released while it is up");
}

}  // namespace explore_maps
