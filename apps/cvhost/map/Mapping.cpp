#include "apps/cvhost/map/Mapping.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>

#include "apps/cvhost/map/Strokes.h"

namespace cvhost::map {
namespace {

constexpr double mostCounts = 1000;
constexpr std::size_t longestLegend = 60;

std::string legendOf(const KeyAction& action) {
    std::string text = tapsText(action.taps);
    std::size_t size = std::min(text.size(), longestLegend);
    while (size > 0 && size < text.size() && (text[size] & 0xC0) == 0x80) --size;  // not inside a UTF-8 character
    text.resize(size);
    return text;
}

/// NaN counts as no movement.
std::int64_t partsOf(double counts) {
    if (std::isnan(counts)) return 0;
    return std::llround(std::clamp(counts, -mostCounts, mostCounts) * static_cast<double>(Engine::countParts));
}

}  // namespace

OpenMap openMap(const std::string& nameOrFile) {
    auto file = findMap(nameOrFile);
    if (const auto* problem = std::get_if<std::string>(&file)) throw TargetFailure(*problem);
    const FileMark mark = markOf(std::get<NamedMap>(file).path);  // a change while it is read shows
    auto map = readMap(std::get<NamedMap>(file).path);
    if (const auto* problems = std::get_if<MapProblems>(&map)) throw TargetFailure(problems->front());
    return {std::get<NamedMap>(std::move(file)), mark, std::get<Map>(std::move(map))};
}

Mapping::Mapping(OpenMap map, MakeTarget makeTarget)
    : m_file(std::move(map.file)),
      m_makeTarget(std::move(makeTarget)),
      m_mark(map.mark),
      m_engine(std::move(map.map), [this](const Action& action) {
          if (m_target) m_target->send(action);
      }) {}

template <class Act>
void Mapping::act(Act act) {
    const std::lock_guard lock(m_mutex);
    act(m_engine);
}

void Mapping::setClaimed(const Codes& codes) {
    act([&](Engine& engine) {
        m_claimed = codes;
        if (isClaimed(common::keys::ring)) engine.ring(0);
        for (int code = 0; code < ConsoleHandlerTable::codes; ++code) {
            if (isClaimed(code)) engine.leaveLayer(common::keyOf(code));
        }
    });
}

void Mapping::take(const KeyQueued& key) {
    act([&](Engine& engine) {
        if (!isClaimed(key.code)) engine.press(common::keyOf(key.code));
    });
}

void Mapping::take(const KeyReleased& key) {
    act([&](Engine& engine) { engine.release(common::keyOf(key.code)); });
}

void Mapping::take(const HandlerRun& run) {
    act([&](Engine& engine) {
        if (isClaimed(run.code)) return;
        if (run.code == common::keys::ring) engine.ring(run.speed);
        if (run.code != common::keys::wheel) return;
        engine.wheel(partsOf(run.jogExact), std::chrono::steady_clock::now().time_since_epoch());
    });
}

void Mapping::take(const PortChange& port) {
    if (port.state == PortState::open) return;
    act([](Engine& engine) { engine.letGo(); });
}

std::string Mapping::text() {
    const std::lock_guard lock(m_mutex);
    return m_engine.map().text;
}

Mapping::News Mapping::refresh() {
    const FileMark mark = markOf(m_file.path);
    if (std::exchange(m_mark, mark) == mark) return {};
    auto read = readMap(m_file.path);
    if (auto* problems = std::get_if<MapProblems>(&read)) return {.problems = std::move(*problems)};
    auto& map = std::get<Map>(read);
    const Application before = m_engine.map().application;  // only this thread changes it
    const bool hadTarget = m_target != nullptr;
    if (map.application != before || !hadTarget || m_target->failure()) {
        end();
        const MapProblems problems = setTarget(map.application);
        if (!problems.empty() && hadTarget && setTarget(before).empty()) {
            return {.problems = {m_file.path + ": " + problems.front()}};
        }
    }
    act([&](Engine& engine) { engine.setMap(std::move(map)); });
    return {.changed = true, .problems = {}};
}

MapProblems Mapping::setTarget(const Application& application) {
    try {
        auto target = std::make_unique<TargetThread>(m_makeTarget(application));
        const std::lock_guard lock(m_mutex);
        m_target = std::move(target);
        return {};
    } catch (const TargetFailure& failure) {
        return {failure.what()};
    } catch (const std::system_error& error) {  // such as a kind of socket that a service may not have
        return {error.what()};
    }
}

void Mapping::showLamps(iConsoleResource& console, bool lent) {
    if (lent) {
        if (std::exchange(m_lampsKnown, false)) darken(console);
        return;
    }
    Lamps lamps;
    act([&](const Engine& engine) {
        lamps = engine.lamps();
        if (m_target) lamps |= m_target->lamps();
    });
    m_ours |= lamps;
    const Lamps changed = m_lampsKnown ? lamps ^ m_shown : m_ours;
    m_lampsKnown = true;
    m_shown = lamps;
    for (int lamp = 1; lamp <= common::lampCount; ++lamp) {
        const auto index = static_cast<std::size_t>(lamp);
        if (changed.test(index)) console.lamp_set(lamp, lamps.test(index) ? 'F' : 'O');
    }
}

void Mapping::darken(iConsoleResource& console) {
    for (int lamp = 1; lamp <= common::lampCount; ++lamp) {
        if (m_shown.test(static_cast<std::size_t>(lamp))) console.lamp_set(lamp, 'O');
    }
}

std::optional<Legends> Mapping::takeLegends() {
    std::optional<Legends> legends;
    act([&](const Engine& engine) {
        if (std::exchange(m_legends, engine.changes()) == engine.changes()) return;
        legends.emplace();
        if (const Layer* layer = engine.layer()) legends->layer = layer->name;
        for (int code = 0; code < common::keyCount; ++code) {
            if (const KeyAction* action = engine.actionOf(code))
                legends->keys.at(static_cast<std::size_t>(code)) = legendOf(*action);
        }
        for (const Layer& layer : engine.map().layers) legends->keys.at(static_cast<std::size_t>(layer.key)) = layer.name;
    });
    return legends;
}

void Mapping::end() {
    std::unique_ptr<TargetThread> ended;
    act([&](Engine& engine) {
        engine.letGo();
        ended.swap(m_target);
    });
}

}  // namespace cvhost::map
