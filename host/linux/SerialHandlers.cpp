#include "host/linux/SerialHandlers.h"

#include <algorithm>
#include <iterator>

namespace cvhost {

SerialHandlers& SerialHandlers::instance() {
    static auto* const handlers = new SerialHandlers;  // outlives every plug-in's statics
    return *handlers;
}

void SerialHandlers::add(const SerialPort& port, Callback callback, void* context) {
    const std::lock_guard lock(m_mutex);
    takeWhere([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
    m_registrations.push_back(std::make_shared<Registration>(Registration{&port, callback, context}));
}

void SerialHandlers::remove(Callback callback, void* context) {
    removeAndWait([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
}

void SerialHandlers::removeAllOf(const SerialPort& port) {
    const std::lock_guard lock(m_mutex);
    takeWhere([&](const Registration& entry) { return entry.port == &port; });
}

void SerialHandlers::removeAllWith(void* context) {
    removeAndWait([=](const Registration& entry) { return entry.context == context; });
}

std::vector<SerialHandlers::Handle> SerialHandlers::takeWhere(const std::function<bool(const Registration&)>& matches) {
    std::erase_if(m_registrations, [&](const Handle& entry) {
        if (matches(*entry)) entry->removed = true;
        return entry->removed;
    });
    m_changed.notify_all();
    std::vector<Handle> running;
    std::ranges::copy_if(m_calls, std::back_inserter(running), [&](const Handle& entry) {
        return entry->removed && entry->caller != std::this_thread::get_id() && matches(*entry);
    });
    return running;
}

void SerialHandlers::removeAndWait(const std::function<bool(const Registration&)>& matches) {
    std::unique_lock lock(m_mutex);
    const std::vector<Handle> running = takeWhere(matches);
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
    std::vector<Handle> round;
    std::ranges::copy_if(m_registrations, std::back_inserter(round),
                         [&](const Handle& entry) { return entry->port == &port; });
    for (const Handle& entry : round) {
        waitForEarlier(*entry, lock);
        if (entry->removed) continue;
        entry->caller = std::this_thread::get_id();
        m_calls.push_back(entry);
        lock.unlock();
        entry->callback(entry->context);
        lock.lock();
        entry->caller = {};
        std::erase(m_calls, entry);
        m_changed.notify_all();
    }
}

}  // namespace cvhost
