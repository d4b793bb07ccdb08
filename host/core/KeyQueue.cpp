#include "host/core/KeyQueue.h"

#include "host/core/Everlasting.h"

namespace cvhost {

std::size_t KeyQueue::add(KeyPress press) {
    const std::lock_guard held(m_lock);
    if (m_count == capacity) return ++m_dropped;
    m_presses[(m_first + m_count) % capacity] = press;
    ++m_count;
    if (!press.handled) ++m_unhandled;
    return m_dropped;
}

std::optional<KeyPress> KeyQueue::take() {
    if (m_count == 0) return std::nullopt;
    const std::lock_guard held(m_lock);
    if (m_count == 0) return std::nullopt;
    const KeyPress press = m_presses[m_first];
    m_first = (m_first + 1) % capacity;
    --m_count;
    if (!press.handled) --m_unhandled;
    m_dropped = 0;
    return press;
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
