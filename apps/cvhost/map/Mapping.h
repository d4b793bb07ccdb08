// A map at work: the run's events go in, and its target does what the map says. The map's file is read again when it
// changes.
//
// Threads: events on any, one at a time; the rest on the application's main thread. No event waits for the target.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/cvhost/map/Engine.h"
#include "apps/cvhost/map/MapFiles.h"
#include "apps/cvhost/map/TargetThread.h"
#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"
#include "host/core/Events.h"

namespace cvhost::map {

/// A map that has been read.
struct OpenMap {
    NamedMap file;
    FileMark mark;
    Map map;
};

/// Reads a map. Throws TargetFailure if it cannot be read.
OpenMap openMap(const std::string& nameOrFile);

/// What the desk's keys do in a layer.
struct Legends {
    std::string layer;  ///< empty: none is on
    std::array<std::string, common::keyCount> keys;
};

class Mapping {
public:
    using Codes = std::bitset<ConsoleHandlerTable::codes>;
    /// Makes the target of a map. Throws TargetFailure.
    using MakeTarget = std::function<std::unique_ptr<Target>(const Application&)>;

    Mapping(OpenMap map, MakeTarget makeTarget);

    /// Makes the target, unless there is one. What is wrong is a problem; until then events do nothing.
    MapProblems startTarget() { return m_target ? MapProblems() : setTarget(m_engine.map().application); }

    /// From now on presses of these codes and movements of the ring (0) and the wheel (47) do nothing: a client of the
    /// control socket has claimed them. What the ring has started ends, and so does a layer whose key is among them.
    void setClaimed(const Codes& codes);

    void operator()(const Event& event) { give<Consumer::map>(event, *this); }
    void take(const KeyQueued& key);
    void take(const KeyReleased& key);
    void take(const HandlerRun& run);
    void take(const PortChange& port);

    const NamedMap& file() const { return m_file; }
    /// The text of the map that is in force.
    std::string text();

    struct News {
        bool changed = false;  ///< the file has been read again, and is in force
        MapProblems problems;  ///< it has changed, and cannot be used: the map that was in force stays
    };
    /// Reads the file again if it has changed. Another target takes the place of the one before, which ends first. If
    /// neither can be made, the file is in force, and startTarget has more to do.
    News refresh();
    /// Shows the layers and the target's state on the console's lamps. `lent`: somebody else is about to set the lamps, or
    /// does so already; those that the map has lit go off once.
    void showLamps(iConsoleResource& console, bool lent);
    /// What each key does now, if that has changed since the last call.
    std::optional<Legends> takeLegends();
    /// Why the target has ended; empty while it works.
    std::optional<std::string> failure() const { return m_target ? m_target->failure() : std::nullopt; }
    /// Why the target cannot reach its application now; it tries again by itself.
    std::optional<std::string> trouble() const { return m_target ? m_target->trouble() : std::nullopt; }
    /// Releases everything and ends the target. Later events do nothing.
    void end();

private:
    template <class Act>
    void act(Act act);
    void darken(iConsoleResource& console);
    bool isClaimed(int code) const { return is_valid_keycode(code) && m_claimed.test(static_cast<std::size_t>(code)); }
    MapProblems setTarget(const Application& application);

    const NamedMap m_file;
    const MakeTarget m_makeTarget;
    FileMark m_mark;
    std::mutex m_mutex;
    std::unique_ptr<TargetThread> m_target;  ///< null: none could be made; under m_mutex; only the main thread changes it
    Codes m_claimed;                         ///< under m_mutex
    Engine m_engine;                         ///< under m_mutex
    Lamps m_shown;                           ///< on the console
    Lamps m_ours;                            ///< lamps that the map has set at some time
    bool m_lampsKnown = false;               ///< the console shows m_shown
    std::uint64_t m_legends = 0;             ///< Engine::changes at the last call of takeLegends
};

}  // namespace cvhost::map
