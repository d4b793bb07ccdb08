// The run's events on their way to what takes its time with them: the reports and the page. The thread on which an event
// happens only copies it.
//
// The queue is of bounded size. When it is full, events are left out and counted.
//
// Threads: events on any, one at a time; the rest by the owner. A thread of its own gives them on.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "apps/cvhost/report/EventBatch.h"
#include "host/core/Events.h"

namespace cvhost::run {

class EventQueue {
public:
    /// Called with the number of events that were left out, in their place.
    using Missing = std::function<void(std::size_t count)>;

    /// Whether a sink shows such an event. The others are neither kept nor counted.
    using Wanted = std::function<bool(const Event&)>;

    /// While `sinks` take an event, their clocks show the time at which it happened.
    EventQueue(std::vector<EventSink> sinks, Wanted wanted, Missing missing);
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;
    /// Gives on what waits.
    ~EventQueue();

    /// Neither waits for the sinks nor asks for memory.
    void operator()(const Event& event);
    /// Waits until the sinks have had all events.
    void flush();

private:
    void work();

    const std::vector<EventSink> m_sinks;
    const Wanted m_wanted;
    const Missing m_missing;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    report::EventBatch m_waiting;  ///< under m_mutex
    std::size_t m_leftOut = 0;     ///< after those that wait; under m_mutex
    bool m_busy = false;           ///< the sinks are being given events; under m_mutex
    bool m_ending = false;         ///< under m_mutex
    report::EventBatch m_given;    ///< the thread's
    std::thread m_thread;
};

}  // namespace cvhost::run
