// A program that a map works, as far as it has keys: what is held in it. Between the map and it is the product's own code
// for such a target. It can be made to hang, to answer late and to fail.
//
// Threads: any.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apps/cvhost/map/KeyStrokes.h"
#include "apps/cvhost/map/MpvKeys.h"
#include "apps/cvhost/map/Target.h"
#include "host/core/FileDescriptor.h"
#include "host/sim/Random.h"
#include "tests/explore/maps/MapPlan.h"

namespace explore_maps {

using cvhost::map::Action;
using Names = std::set<std::string>;

class Application {
public:
    Application(TargetKind kind, Canary canary, std::uint64_t seed);

    /// UDP, for OSC.
    int oscPort() const { return m_oscPort; }
    /// The target of a map for it. One at a time; it must end before this.
    std::unique_ptr<cvhost::map::Target> makeTarget(const cvhost::map::Application& application);

    // Its troubles.

    /// From now on it takes no action. Returns when an action waits for it; `act` asks for one.
    void hang(const std::function<void()>& act);
    /// It takes so many more.
    void allow(int actions);
    /// It takes all that come.
    void recover();
    /// It fails at the next action.
    void fail();

    // What is in it.

    /// Waits until it has taken so many marks in all, or has gone. False: it has not, in this time.
    bool waitForMarks(int count, std::chrono::seconds patience);
    struct State {
        std::set<int> holds;  ///< keys of the desk that it was asked to hold something for
        Names due;            ///< what that is
        Names down;           ///< what is held in it
        std::string problem;  ///< the first one
    };
    /// Call it when nothing waits.
    State state();
    /// Its target has ended.
    bool isGone();
    /// Waits until it takes all actions again.
    void waitUntilRecovered();

private:
    class FaultyTarget;

    void take(const Action& action, cvhost::map::Target* osc);
    void go();
    void pass(const Action& action, cvhost::map::Target* osc);
    void note(const Action& action);
    void passToMpv(const Action& action);
    void takeCommands();
    void takePackets();
    void change(const std::string& key, bool down);
    bool oneIn(std::uint64_t count) { return m_random.below(count) == 0; }

    const TargetKind m_kind;
    const Canary m_canary;
    const cvhost::map::Stroke m_mark;
    cvhost::FileDescriptor m_osc;
    int m_oscPort = 0;

    std::mutex m_mutex;  ///< over the rest
    std::condition_variable m_changed;
    sim::Random m_random;
    std::optional<int> m_allowed;  ///< actions that it takes; none: all that come
    bool m_passing = false;        ///< while it takes none, they wait behind the target: mpv has a thread of its own
    bool m_waiting = false;        ///< an action waits for it
    bool m_failing = false;
    bool m_gone = false;
    int m_marks = 0;
    std::optional<Action> m_late;  ///< of a canary
    std::map<int, Names> m_holds;
    Names m_down;
    std::string m_problem;
    cvhost::map::KeyStrokes m_strokes;
    cvhost::map::MpvKeys m_mpvKeys;
};

}  // namespace explore_maps
