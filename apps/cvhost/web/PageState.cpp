#include "apps/cvhost/web/PageState.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "apps/common/JsonText.h"

namespace cvhost::web {
namespace {

using Json = common::JsonText;

constexpr std::size_t longestText = 600;
constexpr double sampleEvery = 1.0 / 30;

/// `text`, escaped and cut short.
std::string shown(std::string_view text) {
    while (text.ends_with('\n')) text.remove_suffix(1);
    if (text.size() <= longestText) return common::plainText(text);
    return common::plainText(text.substr(0, longestText)) + " ...";
}

double rounded(double value, double places) { return std::isfinite(value) ? std::round(value * places) / places : 0; }

std::string text(std::initializer_list<Json::Member> members) { return Json::object(members).text(); }

std::string_view nameOf(wire::Startup::State state) {
    switch (state) {
        case wire::Startup::State::waiting:
            return "waiting";
        case wire::Startup::State::now:
            return "now";
        case wire::Startup::State::done:
            return "done";
        case wire::Startup::State::failed:
            return "failed";
    }
    return "";
}

std::string_view linkName(const wire::StartupFacts& startup) {
    if (startup.active) return "active";
    return startup.isOpen() ? "starting" : startup.isLost() ? "lost" : "looking";
}

}  // namespace

void WebList::add(std::string json) {
    ++m_added;
    m_entries.push_back(std::move(json));
    if (m_entries.size() > m_limit) m_entries.pop_front();
}

std::string WebList::news(std::uint64_t& next) const {
    const std::uint64_t first = m_added - m_entries.size();
    std::string list = "[";
    for (std::uint64_t number = std::max(next, first); number < m_added; ++number) {
        if (list.size() > 1) list += ',';
        list += m_entries[number - first];
    }
    next = m_added;
    return list += ']';
}

PageState::PageState(common::RunClock start, bool embedded)
    : m_start(start),
      m_embedded(embedded),
      m_run(std::to_string(std::chrono::system_clock::now().time_since_epoch().count())),
      m_changes(cvhost::owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")) {
    m_desk.lamp.fill('O');
}

template <class Change>
void PageState::change(Change change) {
    {
        const std::lock_guard lock(m_mutex);
        change();
        ++m_change;
    }
    const std::uint64_t one = 1;
    // EAGAIN: the counter is full, so it is readable already.
    if (::write(m_changes.get(), &one, sizeof one) < 0) return;
}

void PageState::setLaw(wire::ShuttleLaw law) {
    change([&] { m_law = law; });
}

void PageState::setFaults(const DeskFaults& faults) {
    change([&] { m_faults = faults; });
}

void PageState::setClip(const transport::Clip& clip, const transport::State& state) {
    change([&] {
        m_clip = clip;
        m_playhead = {.frame = state.frame,
                      .place = static_cast<double>(state.frame),
                      .speed = state.speed,
                      .markIn = state.markIn,
                      .markOut = state.markOut,
                      .framesPerSecond = clip.rate.nominal()};
    });
}

void PageState::setWheel(bool on) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_wheel == on) return;
    }
    change([&] { m_wheel = on; });
}

void PageState::setLegends(const std::string& layer, std::span<const std::string> keys) {
    std::vector<Json> legends;
    for (const std::string& key : keys) legends.emplace_back(shown(key));
    change([&] {
        m_map = Json::object({{"layer", shown(layer)}, {"keys", Json::list(legends)}});
        ++m_mapChange;
    });
}

void PageState::take(const PlayheadChange& moved) {
    change([&] {
        m_playhead = moved;
        m_playheadAt = m_start.seconds();
        addSample();
    });
}

DeskFaults PageState::faults() const {
    const std::lock_guard lock(m_mutex);
    return m_faults;
}

void PageState::deskEvent(const desk::DeskEvent& event) {
    using Kind = desk::DeskEvent::Kind;
    change([&] {
        switch (event.kind) {
            case Kind::lampSet:
                m_desk.lamp.at(static_cast<std::size_t>(event.number - 1)) = event.letter;
                return;
            case Kind::wheelSet:
                m_desk.wheel = event.number != 0;
                return;
            case Kind::resetHeld:
            case Kind::booting:
                m_desk.lamp.fill('O');
                m_desk.wheel = false;
                return;
            default:
                return;
        }
    });
}

bool PageState::hasNews(const Position& position) const {
    const std::lock_guard lock(m_mutex);
    return m_change != position.change;
}

std::string PageState::news(Position& position) {
    const std::lock_guard lock(m_mutex);
    std::string out = "{\"state\":" + stateJson().text();
    if (position.change == 0) out += ",\"law\":" + lawJson().text();
    if (std::exchange(position.map, m_mapChange) != m_mapChange) out += ",\"map\":" + m_map.text();
    out += ",\"log\":" + m_log.news(position.log);
    out += ",\"wire\":" + m_wire.news(position.wire);
    out += ",\"keys\":" + m_keys.news(position.keys);
    out += ",\"samples\":" + m_samples.news(position.samples);
    position.change = m_change;
    return out += '}';
}

void PageState::operator()(const Event& event) {
    {
        const std::lock_guard lock(m_mutex);
        m_startup.follow(event, m_start.elapsed(), [this](const wire::WireMessage& message) { addMessage(message); });
    }
    give<Consumer::page>(event, *this);
}

void PageState::take(const LogLine& line) {
    change([&] { addLog("log", line.text); });
}

void PageState::take(const Note& note) {
    change([&] { addLog(note.heading, note.text); });
}

void PageState::addLog(std::string_view heading, std::string_view line) {
    m_log.add(text({{"t", rounded(m_start.seconds(), 1000)}, {"heading", heading}, {"text", shown(line)}}));
}

void PageState::take(const PortChange& port) {
    const std::string_view becomes = port.state == PortState::open     ? " is open"
                                     : port.state == PortState::closed ? " is closed"
                                                                       : " is lost";
    change([&] { addLog("port", shown(port.name).append(becomes)); });
}

void PageState::take(const RtsChange& rts) {
    const bool isLow = rts.level == 0;
    change([&] {
        m_wire.add(text({{"t", rounded(m_start.seconds(), 1000)},
                         {"dir", "rts"},
                         {"bytes", isLow ? "RTS low" : "RTS high"},
                         {"meaning", isLow ? "held in reset" : "released"}}));
    });
}

/// Its messages are on the list already.
void PageState::take(const LineBytes&) {
    change([] {});
}

void PageState::addMessage(const wire::WireMessage& message) {
    m_wire.add(text({{"t", rounded(m_start.seconds(), 1000)},
                     {"dir", message.direction == Direction::transmit ? "tx" : "rx"},
                     {"bytes", message.bytes},
                     {"meaning", message.meaning}}));
}

void PageState::take(const KeyQueued& key) {
    change([&] {
        m_keys.add(text({{"t", rounded(m_start.seconds(), 1000)},
                         {"code", key.code},
                         {"key", common::keyOf(key.code)},
                         {"handled", key.handled}}));
    });
}

void PageState::take(const HandlerRun& run) {
    change([&] {
        m_wheel = run.wheelEnabled;
        if (run.code == common::keys::wheel) {
            m_jog = rounded(run.jogExact, 10000);
            m_jogTotal += m_jog;
        }
        if (run.code == common::keys::wheel) addSample();
    });
}

void PageState::addSample() {
    const double now = m_start.seconds();
    if (now - m_sampled < sampleEvery) return;
    m_sampled = now;
    m_samples.add(Json::list({rounded(now, 1000), m_playhead.speed, rounded(m_jogTotal, 10000)}).text());
}

common::JsonText PageState::stateJson() const {
    const wire::StartupFacts& startup = m_startup.facts();
    const wire::ConsoleLook& look = m_startup.reader().look();
    const wire::PacketReader& packets = m_startup.reader().packets();
    const int version = startup.active ? startup.version.value_or(0) : 0;
    const wire::ConsoleLook& lit = m_embedded ? m_desk : look;
    std::vector<Json> held;
    for (int code = 0; code < common::keyCount; ++code) {
        if (look.held.at(static_cast<std::size_t>(code))) held.emplace_back(code);
    }
    Json state = Json::object({{"run", m_run},
                               {"t", rounded(m_start.seconds(), 1000)},
                               {"link", linkName(startup)},
                               {"port", shown(startup.port)},
                               {"version", version},
                               {"inputIgnored", startup.active && common::ignoresInput(version)},
                               {"met8", packets.onlyVersion8()},
                               {"wheelIgnored", packets.statusIgnored()},
                               {"lamps", std::string(lit.lamp.begin(), lit.lamp.end())},
                               {"deskWheel", lit.wheel},
                               {"held", Json::list(held)},
                               {"ring", look.ring},
                               {"turned", rounded(look.turned, 10000)},
                               {"speed", m_playhead.speed},
                               {"jog", m_jog},
                               {"jogTotal", rounded(m_jogTotal, 10000)},
                               {"wheel", m_wheel && startup.active},
                               {"embedded", m_embedded}});
    if (m_embedded) {
        state.add("faults", Json::object({{"plugged", m_faults.plugged},
                                          {"noise", m_faults.noisy},
                                          {"silent", m_faults.silent},
                                          {"firmware", m_faults.firmware},
                                          {"model", common::modelName(m_faults.model)}}));
    }
    state.add("transport", transportJson());
    state.add("steps", stepsJson());
    return state;
}

common::JsonText PageState::transportJson() const {
    const auto mark = [](std::optional<std::int64_t> frame) { return frame ? Json(*frame) : Json(nullptr); };
    return Json::object({{"frames", m_clip.frames},
                         {"rate", Json::list({m_clip.rate.numerator, m_clip.rate.denominator})},
                         {"frame", m_playhead.frame},
                         {"place", m_playhead.place},
                         {"at", rounded(m_playheadAt, 1000)},
                         {"speed", m_playhead.speed},
                         {"in", mark(m_playhead.markIn)},
                         {"out", mark(m_playhead.markOut)}});
}

common::JsonText PageState::stepsJson() const {
    std::vector<Json> steps;
    for (const wire::Startup::Step& step : m_startup.steps()) {
        steps.push_back(Json::object({{"name", step.name},
                                      {"state", nameOf(step.state)},
                                      {"t", rounded(std::chrono::duration<double>(step.at).count(), 1000)},
                                      {"text", shown(step.text)}}));
    }
    return Json::list(steps);
}

common::JsonText PageState::lawJson() const {
    std::vector<Json> speeds;
    for (int position = 0; position <= 255; ++position) speeds.emplace_back(m_law.speed(position));
    return Json::object({{"multiplier", rounded(m_law.beyondPlay, 10000)},
                         {"centre", wire::ShuttleLaw::centre},
                         {"deadBand", wire::ShuttleLaw::deadBand},
                         {"detentBegins", wire::ShuttleLaw::detentBegins},
                         {"detentEnds", wire::ShuttleLaw::detentEnds},
                         {"speeds", Json::list(speeds)}});
}

}  // namespace cvhost::web
