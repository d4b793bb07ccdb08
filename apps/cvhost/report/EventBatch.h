// Events that have happened and wait for another thread, with the texts and bytes that they refer to. Of bounded size.
//
// Threads: one at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <vector>

#include "host/core/Events.h"

namespace cvhost::report {

class EventBatch {
public:
    using Clock = std::chrono::steady_clock;

    struct Item {
        Event event;
        Clock::time_point at;
    };

    EventBatch();

    /// Keeps a copy, without asking for memory. False: there is no room.
    bool add(const Event& event);
    void clear();
    const std::vector<Item>& items() const { return m_items; }

private:
    template <class View>
    bool keep(View& view);

    std::vector<Item> m_items;
    std::unique_ptr<std::byte[]> m_bytes;
    std::size_t m_used = 0;  ///< of m_bytes
};

}  // namespace cvhost::report
