#include "host/core/KeyQueue.h"

#include "host/core/Everlasting.h"

namespace cvhost {

void KeyQueue::add(KeyPress press) {
    const std::lock_guard held(m_lock);
    if (m_count == capacity) {
        ++m_dropped;
        return;
    }
    m_presses[(m_first + m_count) % capacity] = press;
    ++m_count;
    if (!press.handled) ++m_unhandled;
}

std::optional<KeyPress> KeyQueue::take() {
    const std::lock_guard held(m_lock);
    if (m_count == 0) return std::nullopt;
    const KeyPress press = m_presses[m_first];
    m_first = (m_first + 1) % capacity;
    --m_count;
    if (!press.handled) --m_unhandled;
    m_dropped = 0;
    return press;
}

int KeyQueue::unhandled() const {
    const std::lock_guard held(m_lock);
    return m_unhandled;
}

std::size_t KeyQueue::dropped() const {
    const std::lock_guard held(m_lock);
    return m_dropped;
}

void KeyQueue::clear() {
    const std::lock_guard held(m_lock);
    m_first = 0;
    m_count = 0;
    m_unhandled = 0;
    m_dropped = 0;
}

KeyQueue& keyQueue() noexcept {
    static Everlasting<KeyQueue> queue;
    return *queue;
}

}  // namespace cvhost
