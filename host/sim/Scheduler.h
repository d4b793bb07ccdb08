// Threads that take turns, and the time that they live in.
//
// One thread runs at a time, until it waits or comes to a scheduling point where the seed says that another may run. Code
// takes no time: when every thread waits, time jumps to the next thing that is due. Nothing waits in real time. The same
// seed and the same calls give the same run.
//
// The thread that made the scheduler is the first, called "host"; it may also stand back and watch (settle, runFor,
// runUntil): it then runs only when all others wait.
//
// What cannot go on (every thread waits for another and nothing is due; time passes its limit; too many scheduling points at
// one instant) is reported on standard error, with what every thread is doing, and ends the process by abort().
//
// Threads: one real thread for everything.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/sim/Fiber.h"
#include "host/sim/Random.h"

namespace sim {

/// Since the world began.
using Time = std::chrono::nanoseconds;

struct Schedule {
    std::uint64_t seed = 1;
    /// False: a thread runs on until it waits, and the longest ready goes next. True: at every scheduling point the seed
    /// chooses among the threads that are ready.
    bool shuffled = false;
    /// How often in a million scheduling points a thread is held up there, and for how long at most.
    unsigned stalls = 0;
    Time stallAtMost{0};
    /// When the whole run must be over.
    Time timeLimit = std::chrono::hours(24);
    /// How many scheduling points may come at one instant.
    unsigned pointLimit = 1'000'000;
};

/// Something other than a thread that time moves on: a line, a desk.
class Timed {
public:
    /// When `advance` must be called next, if ever; not before the present.
    virtual std::optional<Time> nextEvent() const = 0;
    /// Time is `now`. Must not wait.
    virtual void advance(Time now) = 0;

protected:
    ~Timed() = default;
};

class Thread;
using ThreadHandle = std::shared_ptr<Thread>;

class Scheduler {
public:
    explicit Scheduler(const Schedule& schedule);
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;
    /// Only when all threads but the first have ended; reports it otherwise.
    ~Scheduler();

    // Time.

    Time now() const noexcept { return m_now; }
    /// Waits, as a thread among others.
    void sleep(Time duration);
    /// Lets all others run until they wait, in no time.
    void settle();
    /// Lets `duration` pass, and settles.
    void runFor(Time duration);
    /// Lets time pass until `done()`, asked whenever all others wait; false when `limit` has passed first.
    bool runUntil(const std::function<bool()>& done, Time limit);

    // Threads.

    /// A new thread, ready to run. `servant`: it may wait for ever without anybody missing it. Null when there are too
    /// many.
    ThreadHandle start(std::string name, std::function<void()> body, bool servant = false);
    /// Waits until `thread` has ended.
    void join(const ThreadHandle& thread);
    /// True while a thread of this name has not ended.
    bool runs(std::string_view name) const noexcept;
    static bool ended(const Thread& thread) noexcept;
    bool isCurrent(const Thread& thread) const noexcept { return m_current == &thread; }
    const std::string& currentName() const noexcept;

    // Where one thread may give way to another.

    /// A scheduling point; `what` shows in reports and must live on.
    void point(const char* what);
    /// Waits until wake(`channel`), or until `deadline` at the latest. True when woken. `what` as above.
    bool wait(const void* channel, std::optional<Time> deadline, const char* what);
    /// Makes every thread ready that waits for `channel`. Any code may call it, also what time moves on.
    void wake(const void* channel);

    // What time moves on.

    void add(Timed* timed) { m_timed.push_back(timed); }
    void remove(Timed* timed) { std::erase(m_timed, timed); }

    [[noreturn]] void report(const char* what) const;

private:
    static void enter(void* argument);
    void makeReady(Thread& thread);
    /// Runs whoever is next, if need be after letting time pass.
    void dispatch();
    Thread* ready();
    void letTimePass();
    Time nextStop() const;
    /// When something next happens by itself, other than that a watcher's time is over.
    std::optional<Time> nextDue() const;

    Schedule m_schedule;
    Random m_random;
    Time m_now{0};
    std::vector<ThreadHandle> m_threads;  // the first is "host"; without the ended
    Thread* m_current;
    ThreadHandle m_ended;  // whose stack was left last
    std::vector<Timed*> m_timed;
    std::vector<Thread*> m_choice;  // scratch
    std::uint64_t m_readied = 0;
    unsigned m_points = 0;
};

}  // namespace sim
