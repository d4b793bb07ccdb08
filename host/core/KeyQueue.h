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

    /// A press that finds the queue full is dropped and counted.
    void add(KeyPress press);
    /// The oldest press, or nothing.
    std::optional<KeyPress> take();
    /// How many presses wait that are not marked as handled.
    int unhandled() const;
    /// How many presses have been dropped since one was last taken.
    std::size_t dropped() const;
    void clear();

private:
    mutable std::mutex m_lock;
    std::array<KeyPress, capacity> m_presses{};
    std::size_t m_first = 0;
    std::size_t m_count = 0;
    int m_unhandled = 0;
    std::size_t m_dropped = 0;
};

/// The host's one queue, which addToKeyPressQueue fills; it lives until the process ends.
KeyQueue& keyQueue() noexcept;

}  // namespace cvhost
