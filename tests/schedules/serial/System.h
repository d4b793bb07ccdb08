// The system beneath the host's serial library, on virtual time: threads, locks, waits, descriptors. The program's own
// functions take the place of the C library's.
//
// A descriptor is ready when its `ready` says so; what changes that calls changed().
//
// Threads: those of a run.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "host/sim/Scheduler.h"

namespace schedules {

class System {
public:
    explicit System(sim::Scheduler& scheduler);
    System(const System&) = delete;
    System& operator=(const System&) = delete;
    ~System();

    /// The one that lives, or null.
    static System* current();

    sim::Scheduler& scheduler() { return m_scheduler; }

    /// A new descriptor. `ready` gives what it is ready for of POLLIN, POLLOUT and POLLHUP.
    int open(std::function<short()> ready);
    void close(int descriptor);
    short readyFor(int descriptor) const;
    /// Some descriptor may have become ready.
    void changed() { m_scheduler.wake(this); }
    void waitForChange() { m_scheduler.wait(this, std::nullopt, "poll"); }

    int openCounter();
    std::uint64_t& counter(int descriptor) { return m_counters.at(descriptor); }

    void add(const sim::ThreadHandle& thread) { m_threads.push_back(thread); }
    sim::ThreadHandle thread(const void* identity) const;

private:
    sim::Scheduler& m_scheduler;
    std::map<int, std::function<short()>> m_descriptors;
    std::map<int, std::uint64_t> m_counters;
    std::vector<sim::ThreadHandle> m_threads;
    int m_next = 1000;
};

}  // namespace schedules
