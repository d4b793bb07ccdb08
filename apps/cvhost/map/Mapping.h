// A map at work: the run's events go in, and its target does what the map says. The map's file is read again when it
// changes.
//
// Threads: events on any, one at a time; the rest on the application's main thread. No event waits for the target.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/cvhost/map/Engine.h"
#include "apps/cvhost/map/MapFiles.h"
#include "apps/cvhost/map/TargetThread.h"
#include "host/api/ConsoleResource.h"
#include "host/core/Events.h"

namespace cvhost::map {

class Mapping {
public:
    /// Whether what a code does is somebody else's.
    using Claimed = std::function<bool(int code)>;

    /// Reads the map. Throws TargetFailure if it cannot be read or its target does not work.
    explicit Mapping(const std::string& nameOrFile);
    /// With a target made elsewhere.
    Mapping(NamedMap file, Map map, std::unique_ptr<Target> target);

    /// Ask this of each press, and of each movement of the ring (0) and the wheel (47).
    void setClaimed(Claimed claimed);

    void operator()(const Event& event) { give<Consumer::map>(event, *this); }
    void take(const KeyQueued& key);
    void take(const KeyReleased& key);
    void take(const HandlerRun& run);
    void take(const PortChange& port);

    const NamedMap& file() const { return m_file; }

    struct News {
        bool changed = false;  ///< the file has been read again, and is in force
        MapProblems problems;  ///< it has changed and is broken: the map that was in force stays
    };
    /// Reads the file again if it has changed.
    News refresh();
    /// Shows the layers on the console's lamps. `lent`: somebody else sets the lamps.
    void showLamps(iConsoleResource& console, bool lent);
    /// Why the target has ended; empty while it works.
    std::optional<std::string> failure() { return m_target ? m_target->failure() : std::nullopt; }
    /// Releases everything and ends the target. Later events do nothing.
    void end();

private:
    template <class Act>
    void act(Act act);

    const NamedMap m_file;
    FileMark m_mark;
    std::unique_ptr<TargetThread> m_target;
    std::mutex m_mutex;
    Claimed m_claimed;          ///< under m_mutex
    Engine m_engine;            ///< under m_mutex
    bool m_ended = false;       ///< under m_mutex
    Engine::Lamps m_shown;      ///< on the console
    Engine::Lamps m_ours;       ///< lamps that the map has set at some time
    bool m_lampsKnown = false;  ///< the console shows m_shown
};

}  // namespace cvhost::map
