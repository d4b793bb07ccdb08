// A map in force: what the hands do comes in, what the target must do goes out. No I/O, no clock.
//
// Every press that goes out is followed by its release: by that of its key, or by releaseAll.
//
// Threads: one at a time.
#pragma once

#include <array>
#include <bitset>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "apps/cvhost/map/Action.h"
#include "apps/cvhost/map/Map.h"

namespace cvhost::map {

class Engine {
public:
    using Time = std::chrono::nanoseconds;
    using Send = std::function<void(const Action&)>;

    /// The wheel counts in these parts of a count.
    static constexpr std::int64_t countParts = 10'000;

    Engine(Map map, Send send);

    /// Takes the place of the map in force. Everything held is released, and no layer is on.
    void setMap(Map map);

    // The hands. Codes are those on the desk.

    void press(int code);
    void release(int code);
    /// Takes the ring's speed; 1024 is play. The same speed again does nothing.
    void ring(int speed);
    /// Takes a turn of the wheel by `parts`, at `now` on any clock that does not run backwards.
    void wheel(std::int64_t parts, Time now);
    /// The layer of the key `code` goes off, if it has one.
    void leaveLayer(int code);
    /// The hands are gone: everything held is released, the ring counts as back at its centre, no layer is on.
    void letGo();

    /// The lamps of the layers that are on.
    const Lamps& lamps() const { return m_lamps; }
    const Map& map() const { return m_map; }
    /// Grows when a layer goes on or off, and when the map changes.
    std::uint64_t changes() const { return m_changes; }
    /// What `code` does now; null: nothing.
    const KeyAction* actionOf(int code) const;
    /// The layer that counts; null: none is on.
    const Layer* layer() const { return m_on.empty() ? nullptr : &m_map.layers[m_on.back()]; }

private:
    const Section* top() const;
    const Ring* ringInForce() const;
    const Wheel* wheelInForce() const;
    void setLayer(std::size_t index, bool on);
    void leaveRing();
    int zoneOf(int direction, std::int64_t speed) const;
    void moveTo(int direction, int zone);
    void sendSpeed(const Ring& ring, int speed);
    void tapAll(const Taps& taps);
    double countsPerSecond(std::int64_t parts, Time now);

    const Send m_send;
    Map m_map;
    std::bitset<common::keyCount> m_down;  ///< on the desk
    std::vector<std::size_t> m_on;         ///< the layers that are on; the last one counts
    Lamps m_lamps;
    std::uint64_t m_changes = 1;

    const Ring* m_ring = nullptr;  ///< the one whose zone the ring is in
    int m_speed = 0;
    int m_direction = 1;
    int m_zone = 0;
    int m_sentSpeed = 0;

    struct Turn {
        Time at;
        std::int64_t parts;
    };
    std::array<Turn, 2> m_turns{{{Time::min(), 0}, {Time::min(), 0}}};  ///< the last ones; the older one first
    std::int64_t m_rest = 0;                                            ///< of a count, in countParts * scrollUnits
};

}  // namespace cvhost::map
