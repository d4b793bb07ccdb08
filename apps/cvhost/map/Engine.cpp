#include "apps/cvhost/map/Engine.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <span>
#include <utility>

namespace cvhost::map {
namespace {

constexpr std::int64_t mostParts = 1000 * Engine::countParts;
constexpr double fastest = 100 * 1024;  ///< the fastest speed of mpv
constexpr Engine::Time shortestTurn = std::chrono::milliseconds(1);

std::size_t indexOf(int code) { return static_cast<std::size_t>(code); }

}  // namespace

Engine::Engine(Map map, Send send) : m_send(std::move(send)), m_map(std::move(map)) { m_on.reserve(m_map.layers.size()); }

void Engine::setMap(Map map) {
    letGo();
    m_map = std::move(map);
    m_on.reserve(m_map.layers.size());
}

const Section* Engine::top() const { return layer() == nullptr ? nullptr : &layer()->section; }

const KeyAction* Engine::actionOf(int code) const {
    if (!common::isKey(code)) return nullptr;
    const Section* layer = top();
    const bool own = layer != nullptr && layer->keys.at(indexOf(code));
    const auto& action = (own ? *layer : m_map.base).keys.at(indexOf(code));
    return action ? &*action : nullptr;
}

const Ring* Engine::ringInForce() const {
    const Section* layer = top();
    const auto& ring = layer != nullptr && layer->ring ? layer->ring : m_map.base.ring;
    return ring ? &*ring : nullptr;
}

const Wheel* Engine::wheelInForce() const {
    const Section* layer = top();
    const auto& wheel = layer != nullptr && layer->wheel ? layer->wheel : m_map.base.wheel;
    return wheel ? &*wheel : nullptr;
}

void Engine::press(int code) {
    if (!common::isKey(code)) return;
    release(code);
    m_down.set(indexOf(code));
    const auto layer = std::ranges::find(m_map.layers, code, &Layer::key);
    if (layer != m_map.layers.end()) {
        const auto index = static_cast<std::size_t>(layer - m_map.layers.begin());
        return setLayer(index, !layer->latched || std::ranges::find(m_on, index) == m_on.end());
    }
    const KeyAction* action = actionOf(code);
    if (action == nullptr) return;
    if (!action->held) return tapAll(action->taps);
    m_send({.kind = Action::Kind::press, .hold = static_cast<std::uint8_t>(code), .stroke = action->taps.strokes[0]});
}

void Engine::release(int code) {
    if (!common::isKey(code) || !m_down.test(indexOf(code))) return;
    m_down.reset(indexOf(code));
    const auto layer = std::ranges::find(m_map.layers, code, &Layer::key);
    if (layer == m_map.layers.end()) return m_send({.kind = Action::Kind::release, .hold = static_cast<std::uint8_t>(code)});
    if (!layer->latched) setLayer(static_cast<std::size_t>(layer - m_map.layers.begin()), false);
}

void Engine::leaveLayer(int code) {
    const auto layer = std::ranges::find(m_map.layers, code, &Layer::key);
    const auto index = static_cast<std::size_t>(layer - m_map.layers.begin());
    if (std::ranges::find(m_on, index) != m_on.end()) setLayer(index, false);
}

void Engine::setLayer(std::size_t index, bool on) {
    ++m_changes;
    std::erase(m_on, index);
    if (on) m_on.push_back(index);
    m_lamps.set(indexOf(common::lampOfKey(m_map.layers[index].key)), on);
    if (m_ring != ringInForce()) leaveRing();
}

/// What the ring has started ends, and its next movement starts anew.
void Engine::leaveRing() {
    if (m_ring != nullptr && m_ring->times != 0) sendSpeed(*m_ring, 0);
    moveTo(m_direction, 0);
    m_ring = nullptr;
}

void Engine::ring(int speed) {
    if (std::exchange(m_speed, speed) == speed) return;
    m_ring = ringInForce();
    if (m_ring == nullptr) return;
    if (m_ring->times != 0) return sendSpeed(*m_ring, speed);
    const int direction = speed < 0 ? -1 : 1;
    const bool across = speed != 0 && direction != m_direction;
    if (across) {
        moveTo(m_direction, 0);
        m_direction = direction;
    }
    moveTo(m_direction, zoneOf(m_direction, std::abs(std::int64_t{speed})));
}

void Engine::sendSpeed(const Ring& ring, int speed) {
    const double exact = std::clamp(speed * ring.times, -fastest, fastest);
    const int amount = static_cast<int>(std::lround(exact));
    if (std::exchange(m_sentSpeed, amount) == amount) return;
    if (amount == 0 && ring.centre.count > 0) return tapAll(ring.centre);
    m_send({.kind = Action::Kind::speed, .stroke = ring.send, .amount = amount});
}

/// Inwards, a zone is left only when the speed has fallen below its begin by the hysteresis.
int Engine::zoneOf(int direction, std::int64_t speed) const {
    const auto& zones = direction < 0 ? m_ring->backward : m_ring->forward;
    const int reached =
        static_cast<int>(std::ranges::count_if(zones, [&](const Ring::Zone& zone) { return speed >= zone.from; }));
    int zone = std::max(m_zone, reached);
    const auto left = [&](int each) {
        return speed * 100 < std::int64_t{zones[indexOf(each - 1)].from} * (100 - m_ring->hysteresis);
    };
    while (zone > reached && left(zone)) --zone;
    return zone;
}

void Engine::moveTo(int direction, int zone) {
    const int before = std::exchange(m_zone, zone);
    if (zone == before) return;
    if (zone == 0) return tapAll(m_ring->centre);
    const auto& zones = direction < 0 ? m_ring->backward : m_ring->forward;
    if (!m_ring->stepping) return tapAll(zones[indexOf(zone - 1)].taps);
    const auto& opposite = direction < 0 ? m_ring->forward : m_ring->backward;
    const Taps& step = zone > before ? zones.front().taps : opposite.front().taps;
    for (int steps = std::abs(zone - before); steps > 0; --steps) tapAll(step);
}

void Engine::tapAll(const Taps& taps) {
    for (const Stroke& stroke : std::span(taps.strokes).first(taps.count))
        m_send({.kind = Action::Kind::tap, .stroke = stroke});
}

void Engine::wheel(std::int64_t parts, Time now) {
    if (parts == 0) return;
    parts = std::clamp(parts, -mostParts, mostParts);
    const double rate = countsPerSecond(parts, now);
    const Wheel* wheel = wheelInForce();
    if (wheel == nullptr) return;
    const bool fast = wheel->fastFrom && rate >= *wheel->fastFrom;
    const WheelAction& action = fast ? wheel->fast : rate < wheel->slowBelow ? wheel->slow : wheel->normal;
    m_rest += parts * Action::scrollUnits;
    const std::int64_t unit = action.scroll != Scroll::none ? countParts : countParts * Action::scrollUnits;
    const std::int64_t amount = m_rest / unit;
    m_rest %= unit;
    if (amount != 0) m_send({.kind = Action::Kind::turn, .wheel = action, .amount = static_cast<int>(amount)});
}

/// Over the last two turns, since a serial line may deliver two of them together. The first turn after a rest is slow.
double Engine::countsPerSecond(std::int64_t parts, Time now) {
    const Turn first = std::exchange(m_turns[0], m_turns[1]);
    const std::int64_t turned = std::abs(m_turns[1].parts) + std::abs(parts);
    m_turns[1] = {now, parts};
    if (first.at == Time::min()) return 0;
    const std::chrono::duration<double> time = std::max(now - first.at, shortestTurn);
    return static_cast<double>(turned) / static_cast<double>(countParts) / time.count();
}

void Engine::letGo() {
    leaveRing();
    m_speed = 0;
    m_direction = 1;
    m_down.reset();
    ++m_changes;
    m_on.clear();
    m_lamps.reset();
    m_rest = 0;
    m_send({.kind = Action::Kind::releaseAll});
}

}  // namespace cvhost::map
