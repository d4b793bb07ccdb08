// Threads of the host that do something for a check, and waiting for what they do.
#pragma once

#include <atomic>
#include <chrono>
#include <utility>

#include "host/api/OS.h"
#include "host/api/Thread.h"
#include "hostcheck/Platform.h"
#include "hostcheck/Text.h"

namespace hostcheck {

using std::chrono::milliseconds;

/// How long something may take that a host does at once. Generous, since the machine may be busy.
inline constexpr milliseconds atOnce{3000};

inline void sleepFor(milliseconds time) { OS().threading().sleep(static_cast<unsigned>(time.count())); }

/// Waits until `condition()` holds; false when it does not within `limit`.
template <class Condition>
bool waitUntil(Condition condition, milliseconds limit) {
    const auto end = now() + limit;
    while (!condition()) {
        if (now() >= end) return false;
        sleepFor(milliseconds(2));
    }
    return true;
}

/// A name that no other task has had.
Text taskName();

/// Runs `body(task)` on a thread of the host.
template <class Body>
class Task final : public BasicThread {
public:
    explicit Task(Body body) : m_body(std::move(body)) {}
    ~Task() override { endThread(); }

    bool begin() { return beginThread(taskName().c_str(), iThread::priorityNormal); }
    bool wanted() const { return keepRunning(); }
    bool ended() const { return m_ended; }
    bool endsWithin(milliseconds limit) {
        return waitUntil([this] { return ended(); }, limit);
    }
    void threadFn() override {
        m_body(*this);
        m_ended = true;
    }

private:
    Body m_body;
    std::atomic<bool> m_ended = false;
};

}  // namespace hostcheck
