#include "apps/cvhost/map/Mapping.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/cvhost/map/KeyboardTarget.h"

namespace cvhost::map {
namespace {

constexpr double mostCounts = 1000;

NamedMap found(const std::string& nameOrFile) {
    auto file = findMap(nameOrFile);
    if (const auto* problem = std::get_if<std::string>(&file)) throw TargetFailure(*problem);
    return std::get<NamedMap>(file);
}

Map readable(const std::string& path) {
    auto map = readMap(path);
    if (const auto* problems = std::get_if<MapProblems>(&map)) throw TargetFailure(problems->front());
    return std::get<Map>(std::move(map));
}

/// NaN counts as no movement.
std::int64_t partsOf(double counts) {
    if (std::isnan(counts)) return 0;
    return std::llround(std::clamp(counts, -mostCounts, mostCounts) * static_cast<double>(Engine::countParts));
}

}  // namespace

Mapping::Mapping(const std::string& nameOrFile)
    // In braces, arguments are evaluated in their order: a broken map is reported before a missing keyboard.
    : Mapping{found(nameOrFile), readable(found(nameOrFile).path), std::make_unique<KeyboardTarget>()} {}

Mapping::Mapping(NamedMap file, Map map, std::unique_ptr<Target> target)
    : m_file(std::move(file)),
      m_mark(markOf(m_file.path)),
      m_target(std::make_unique<TargetThread>(std::move(target))),
      m_engine(std::move(map), [this](const Action& action) { m_target->send(action); }) {}

void Mapping::setClaimed(Claimed claimed) {
    const std::lock_guard lock(m_mutex);
    m_claimed = std::move(claimed);
}

template <class Act>
void Mapping::act(Act act) {
    const std::lock_guard lock(m_mutex);
    if (!m_ended) act(m_engine);
}

void Mapping::take(const KeyQueued& key) {
    act([&](Engine& engine) {
        if (!m_claimed || !m_claimed(key.code)) engine.press(common::keyOf(key.code));
    });
}

void Mapping::take(const KeyReleased& key) {
    act([&](Engine& engine) { engine.release(common::keyOf(key.code)); });
}

void Mapping::take(const HandlerRun& run) {
    act([&](Engine& engine) {
        if (m_claimed && m_claimed(run.code)) return;
        if (run.code == common::keys::ring) engine.ring(run.speed);
        if (run.code != common::keys::wheel) return;
        engine.wheel(partsOf(run.jogExact), std::chrono::steady_clock::now().time_since_epoch());
    });
}

void Mapping::take(const PortChange& port) {
    if (port.state == PortState::open) return;
    act([](Engine& engine) { engine.letGo(); });
}

Mapping::News Mapping::refresh() {
    const FileMark mark = markOf(m_file.path);
    if (std::exchange(m_mark, mark) == mark) return {};
    auto read = readMap(m_file.path);
    if (auto* problems = std::get_if<MapProblems>(&read)) return {.problems = std::move(*problems)};
    act([&](Engine& engine) { engine.setMap(std::get<Map>(std::move(read))); });
    return {.changed = true, .problems = {}};
}

void Mapping::showLamps(iConsoleResource& console, bool lent) {
    if (lent) {
        m_lampsKnown = false;
        return;
    }
    Engine::Lamps lamps;
    act([&](const Engine& engine) { lamps = engine.lamps(); });
    m_ours |= lamps;
    const Engine::Lamps changed = m_lampsKnown ? lamps ^ m_shown : m_ours;
    m_lampsKnown = true;
    m_shown = lamps;
    for (int lamp = 1; lamp <= common::lampCount; ++lamp) {
        const auto index = static_cast<std::size_t>(lamp);
        if (changed.test(index)) console.lamp_set(lamp, lamps.test(index) ? 'F' : 'O');
    }
}

void Mapping::end() {
    act([](Engine& engine) { engine.letGo(); });
    {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
    }
    m_target.reset();
}

}  // namespace cvhost::map
