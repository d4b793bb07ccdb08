// The key presses that wait for the host.
//
// Threads: any thread.
#pragma once

#include <array>
#include <cstddef>
#include <mutex>
#include <optional>

namespace cvhost {

struct KeyPress {
    int code;
    bool handled;
    int flags;

    friend bool operator==(const KeyPress&, const KeyPress&) = default;
};

class KeyQueue {
public:
    static constexpr std::size_t capacity = 256;

    /// False when the queue is full and the press is dropped.
    bool add(KeyPress press);
    /// The oldest press, or nothing.
    std::optional<KeyPress> take();
    /// How many presses wait that are not marked as handled.
    int unhandled() const;
    void clear();

private:
    mutable std::mutex m_lock;
    std::array<KeyPress, capacity> m_presses{};
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    int m_unhandled = 0;
};

/// The host's one queue, which addToKeyPressQueue fills; it lives until the process ends.
KeyQueue& keyQueue() noexcept;

}  // namespace cvhost
