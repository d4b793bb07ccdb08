#include "host/linux/serial/SerialHandlers.h"

#include <algorithm>
#include <iterator>

#include "host/core/Everlasting.h"
#include "host/core/Failure.h"

namespace cvhost {

SerialHandlers& SerialHandlers::instance() {
    static Everlasting<SerialHandlers> handlers;
    return *handlers;
}

void SerialHandlers::add(const SerialPort& port, Callback callback, void* context) {
    const std::lock_guard lock(m_mutex);
    m_registrations.push_back({&port, callback, context, m_next});
    removeWhere([=, this](const Registration& entry) { return entry.isFor(callback, context) && entry.number < m_next; });
    ++m_next;
}

void SerialHandlers::remove(Callback callback, void* context) {
    removeAndWait([=](const Registration& entry) { return entry.isFor(callback, context); });
}

void SerialHandlers::forget(Callback callback, void* context) {
    const std::lock_guard lock(m_mutex);
    removeWhere([=](const Registration& entry) { return entry.isFor(callback, context); });
}

void SerialHandlers::removeAllOf(const SerialPort& port) {
    const std::lock_guard lock(m_mutex);
    removeWhere([&](const Registration& entry) { return entry.port == &port; });
}

void SerialHandlers::removeAllWith(void* context) {
    removeAndWait([=](const Registration& entry) { return entry.context == context; });
}

template <class Matches>
void SerialHandlers::removeWhere(const Matches& matches) {
    std::erase_if(m_registrations, [&](Registration& entry) {
        if (!matches(entry)) return false;
        entry.removed = true;
        return !entry.reached;
    });
    m_changed.notify_all();
}

template <class Matches>
void SerialHandlers::removeAndWait(const Matches& matches) {
    std::unique_lock lock(m_mutex);
    removeWhere(matches);
    const auto isRunning = [&, end = m_next](const Registration& entry) {
        const bool elsewhere = entry.caller != std::thread::id() && entry.caller != std::this_thread::get_id();
        return elsewhere && entry.number < end && matches(entry);
    };
    m_changed.wait(lock, [&] { return std::ranges::none_of(m_registrations, isRunning); });
}

void SerialHandlers::waitForEarlier(const Registration& entry, std::unique_lock<std::mutex>& lock) {
    m_changed.wait(lock, [&] {
        return entry.removed || std::ranges::none_of(m_registrations, [&](const Registration& other) {
                   return other.caller != std::thread::id() && other.isFor(entry.callback, entry.context);
               });
    });
}

void SerialHandlers::call(const SerialPort& port) {
    std::unique_lock lock(m_mutex);
    const std::uint64_t end = m_next;  // one that a call adds is not called for this byte
    for (auto entry = m_registrations.begin(); entry != m_registrations.end() && entry->number < end;) {
        if (entry->port != &port || entry->removed) {
            ++entry;
            continue;
        }
        entry->reached = true;
        waitForEarlier(*entry, lock);
        if (!entry->removed) {
            entry->caller = std::this_thread::get_id();
            lock.unlock();
            guarded([&] { entry->callback(entry->context); });
            lock.lock();
            entry->caller = {};
            m_changed.notify_all();
        }
        entry->reached = false;
        entry = entry->removed ? m_registrations.erase(entry) : std::next(entry);
    }
}

}  // namespace cvhost
