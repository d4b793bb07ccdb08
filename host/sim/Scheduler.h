// Threads that take turns, and the time that they live in.
//
// One thread runs at a time, until it waits or comes to a scheduling point where the seed, or a chooser, says that another
// runs. Code takes no time: when every thread waits, time jumps to the next thing that is due. Nothing waits in real time.
// The same seed, or the same choices, and the same calls give the same run.
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
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/sim/Fiber.h"
#include "host/sim/Random.h"

namespace sim {

/// Since the world began.
using Time = std::chrono::nanoseconds;

class Thread;
using ThreadHandle = std::shared_ptr<Thread>;

/// Decides in the seed's place who runs.
class Chooser {
public:
    /// The place in `candidates` of who goes on; null among them: nobody, time passes. `interrupts`: the first is the
    /// running thread, which has come to a scheduling point, and to choose another interrupts it. Otherwise the running
    /// thread waits or has ended, and the first is who has been ready the longest. Asked at every scheduling point and wait,
    /// also when there is only one candidate.
    virtual std::size_t choose(std::span<Thread* const> candidates, bool interrupts) = 0;

protected:
    ~Chooser() = default;
};

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
    /// Instead of `shuffled`; must outlive the scheduler.
    Chooser* chooser = nullptr;
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
    /// Waits until the chooser lets this thread go on, which it may do at any moment from now on, but not after `limit`.
    /// Without a chooser: sleeps so long.
    void waitForTurn(Time limit);
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
    const Thread& current() const noexcept { return *m_current; }
    const std::string& currentName() const noexcept;
    static const std::string& nameOf(const Thread& thread) noexcept;
    /// Where it is: the function that it waits in, or whose scheduling point it came to last.
    static const char* placeOf(const Thread& thread) noexcept;

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
    /// Runs the next thread, if need be after letting time pass. `mayStay`: the running thread is at a scheduling point.
    void dispatch(bool mayStay = false);
    Thread* ready(bool mayStay);
    Thread* whenNobodyIsReady();
    Thread* chosen(bool mayStay);
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
