#include "host/linux/serial/SerialHandlers.h"

#include <algorithm>
#include <iterator>

#include "host/core/Failure.h"

namespace cvhost {

SerialHandlers& SerialHandlers::instance() {
    static auto* const handlers = new SerialHandlers;  // outlives every plug-in's statics
    return *handlers;
}

void SerialHandlers::add(const SerialPort& port, Callback callback, void* context) {
    const std::lock_guard lock(m_mutex);
    takeWhere([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
    Handles registrations = *m_registrations;
    registrations.push_back(std::make_shared<Registration>(Registration{&port, callback, context}));
    m_registrations = std::make_shared<const Handles>(std::move(registrations));
}

void SerialHandlers::remove(Callback callback, void* context) {
    removeAndWait([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
}

void SerialHandlers::forget(Callback callback, void* context) {
    const std::lock_guard lock(m_mutex);
    takeWhere([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
}

void SerialHandlers::removeAllOf(const SerialPort& port) {
    const std::lock_guard lock(m_mutex);
    takeWhere([&](const Registration& entry) { return entry.port == &port; });
}

void SerialHandlers::removeAllWith(void* context) {
    removeAndWait([=](const Registration& entry) { return entry.context == context; });
}

SerialHandlers::Handles SerialHandlers::takeWhere(const std::function<bool(const Registration&)>& matches) {
    Handles registrations;
    for (const Handle& entry : *m_registrations) {
        if (matches(*entry))
            entry->removed = true;
        else
            registrations.push_back(entry);
    }
    m_registrations = std::make_shared<const Handles>(std::move(registrations));
    m_changed.notify_all();
    Handles running;
    std::ranges::copy_if(m_calls, std::back_inserter(running), [&](const Handle& entry) {
        return entry->removed && entry->caller != std::this_thread::get_id() && matches(*entry);
    });
    return running;
}

void SerialHandlers::removeAndWait(const std::function<bool(const Registration&)>& matches) {
    std::unique_lock lock(m_mutex);
    const Handles running = takeWhere(matches);
    m_changed.wait(lock, [&] {
        return std::ranges::all_of(running, [](const Handle& entry) { return entry->caller == std::thread::id(); });
    });
}

void SerialHandlers::waitForEarlier(const Registration& entry, std::unique_lock<std::mutex>& lock) {
    m_changed.wait(lock, [&] {
        return entry.removed || std::ranges::none_of(m_calls, [&](const Handle& other) {
                   return other->callback == entry.callback && other->context == entry.context;
               });
    });
}

void SerialHandlers::call(const SerialPort& port) {
    std::unique_lock lock(m_mutex);
    const std::shared_ptr<const Handles> round = m_registrations;
    for (const Handle& entry : *round) {
        if (entry->port != &port) continue;
        waitForEarlier(*entry, lock);
        if (entry->removed) continue;
        entry->caller = std::this_thread::get_id();
        m_calls.push_back(entry);
        lock.unlock();
        guarded([&] { entry->callback(entry->context); });
        lock.lock();
        entry->caller = {};
        std::erase(m_calls, entry);
        m_changed.notify_all();
    }
}

}  // namespace cvhost
