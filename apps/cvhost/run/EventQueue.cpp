#include "apps/cvhost/run/EventQueue.h"

#include <pthread.h>

#include <algorithm>
#include <tuple>
#include <utility>
#include <variant>

#include "apps/common/RunClock.h"
#include "host/core/Failure.h"

namespace cvhost::run {
namespace {

constexpr std::size_t mostEvents = 8192;
constexpr std::size_t mostBytes = 1 << 20;
/// Leaves the processor to a map's target, which the same event wakes.
constexpr std::chrono::milliseconds pause{1};

}  // namespace

EventQueue::Batch::Batch() : m_bytes(new std::byte[mostBytes]) { m_items.reserve(mostEvents); }

bool EventQueue::Batch::add(const Event& event) {
    if (m_items.size() == mostEvents) return false;
    m_items.push_back({event, Clock::now()});
    const std::size_t used = m_used;
    const bool kept = std::visit(
        [this](auto& each) {
            if constexpr (requires { each.views(); })
                return std::apply([this](auto&... view) { return (this->keep(view) && ...); }, each.views());
            else
                return true;
        },
        m_items.back().event);
    if (!kept) {
        m_items.pop_back();
        m_used = used;
    }
    return kept;
}

/// Has the view refer to a copy, if there is room.
template <class View>
bool EventQueue::Batch::keep(View& view) {
    using Value = typename View::value_type;
    const std::size_t begin = (m_used + alignof(Value) - 1) / alignof(Value) * alignof(Value);
    const std::size_t size = view.size() * sizeof(Value);
    if (begin > mostBytes || size > mostBytes - begin) return false;
    m_used = begin + size;
    auto* const copy = reinterpret_cast<Value*>(m_bytes.get() + begin);
    std::ranges::copy(view, copy);
    view = View(copy, view.size());
    return true;
}

void EventQueue::Batch::clear() {
    m_items.clear();
    m_used = 0;
}

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
        for (const Item& item : m_given.items()) {
            const common::RunClock::Moment moment(item.at);
            for (const EventSink& sink : m_sinks) guarded([&] { sink(item.event); });
        }
        m_given.clear();
        if (leftOut != 0) guarded([&] { m_missing(leftOut); });
    }
}

}  // namespace cvhost::run
