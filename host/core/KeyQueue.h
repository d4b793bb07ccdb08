// The key presses that wait for the host.
//
// Threads: any thread.
#pragma once

#include <array>
#include <atomic>
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

    /// A press that finds the queue full is dropped. Returns how many have been since one was last taken.
    std::size_t add(KeyPress press);
    /// The oldest press, or nothing.
    std::optional<KeyPress> take();
    /// How many presses wait that are not marked as handled.
    int unhandled() const noexcept { return m_unhandled; }
    void clear();

private:
    std::mutex m_lock;  ///< held by who changes anything
    std::array<KeyPress, capacity> m_presses{};
    std::size_t m_first = 0;
    std::atomic<std::size_t> m_count = 0;
    std::atomic<int> m_unhandled = 0;
    std::size_t m_dropped = 0;
};

/// The host's one queue, which addToKeyPressQueue fills; it lives until the process ends.
KeyQueue& keyQueue() noexcept;

}  // namespace cvhost
