#include "apps/cvhost/run/EventQueue.h"

#include <pthread.h>

#include <utility>

#include "apps/common/RunClock.h"
#include "host/core/Failure.h"

namespace cvhost::run {
namespace {

/// Leaves the processor to a map's target, which the same event wakes.
constexpr std::chrono::milliseconds pause{1};

}  // namespace

EventQueue::EventQueue(std::vector<EventSink> sinks, Wanted wanted, Missing missing)
    : m_sinks(std::move(sinks)), m_wanted(std::move(wanted)), m_missing(std::move(missing)), m_thread([this] { work(); }) {
    ::pthread_setname_np(m_thread.native_handle(), "Reports");
}

EventQueue::~EventQueue() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void EventQueue::operator()(const Event& event) {
    if (!m_wanted(event)) return;
    {
        const std::lock_guard lock(m_mutex);
        if (m_leftOut != 0 || !m_waiting.add(event)) ++m_leftOut;
    }
    m_changed.notify_all();
}

void EventQueue::flush() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_waiting.items().empty() && m_leftOut == 0 && !m_busy; });
}

void EventQueue::work() {
    for (;;) {
        std::size_t leftOut = 0;
        {
            std::unique_lock lock(m_mutex);
            m_busy = false;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return !m_waiting.items().empty() || m_leftOut != 0 || m_ending; });
            if (m_waiting.items().empty() && m_leftOut == 0) return;
            m_busy = true;
        }
        std::this_thread::sleep_for(pause);
        {
            const std::lock_guard lock(m_mutex);
            std::swap(m_waiting, m_given);
            leftOut = std::exchange(m_leftOut, 0);
        }
        for (const report::EventBatch::Item& item : m_given.items()) {
            const common::RunClock::Moment moment(item.at);
            for (const EventSink& sink : m_sinks) guarded([&] { sink(item.event); });
        }
        m_given.clear();
        if (leftOut != 0) guarded([&] { m_missing(leftOut); });
    }
}

}  // namespace cvhost::run
