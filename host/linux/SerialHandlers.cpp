#include "host/linux/SerialHandlers.h"

#include <algorithm>
#include <vector>

namespace cvhost {

SerialHandlers& SerialHandlers::instance() {
    static auto* const handlers = new SerialHandlers;  // outlives every plug-in's statics
    return *handlers;
}

void SerialHandlers::add(const SerialPort& port, Callback callback, void* context) {
    remove(callback, context);
    const std::lock_guard lock(m_mutex);
    // At the front: a walk that is under way does not meet it for the byte it is at.
    m_registrations.push_front(std::make_shared<Registration>(Registration{&port, callback, context}));
}

void SerialHandlers::remove(Callback callback, void* context) {
    removeWhere([=](const Registration& entry) { return entry.callback == callback && entry.context == context; });
}

void SerialHandlers::removeAllOf(const SerialPort& port) {
    removeWhere([&](const Registration& entry) { return entry.port == &port; });
}

void SerialHandlers::removeAllWith(void* context) {
    removeWhere([=](const Registration& entry) { return entry.context == context; });
}

void SerialHandlers::removeWhere(const std::function<bool(const Registration&)>& matches) {
    const auto self = std::this_thread::get_id();
    std::vector<std::shared_ptr<Registration>> running;
    std::unique_lock lock(m_mutex);
    m_registrations.remove_if([&](const std::shared_ptr<Registration>& entry) {
        if (!matches(*entry)) return false;
        entry->removed = true;
        if (entry->caller == std::thread::id()) return true;
        if (entry->caller != self) running.push_back(entry);
        return false;
    });
    m_returned.wait(lock, [&] {
        return std::ranges::all_of(running, [](const auto& entry) { return entry->caller == std::thread::id(); });
    });
}

void SerialHandlers::call(const SerialPort& port) {
    std::unique_lock lock(m_mutex);
    for (auto place = m_registrations.begin(); place != m_registrations.end();) {
        const std::shared_ptr<Registration> entry = *place;
        if (entry->port != &port || entry->removed) {
            ++place;
            continue;
        }
        entry->caller = std::this_thread::get_id();  // and so nobody else takes it off the list
        lock.unlock();
        entry->callback(entry->context);
        lock.lock();
        entry->caller = {};
        place = entry->removed ? m_registrations.erase(place) : std::next(place);
        m_returned.notify_all();
    }
}

}  // namespace cvhost
