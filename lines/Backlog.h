// Bytes on their way to a descriptor that does not block.
#pragma once

#include <cerrno>
#include <cstddef>
#include <span>
#include <vector>

#include "lines/Line.h"

namespace lines {

class Backlog {
public:
    bool empty() const { return m_bytes.empty(); }
    /// Whether the reader is too far behind to get more.
    bool full() const { return m_bytes.size() >= backlogLimit; }
    void clear() { m_bytes.clear(); }
    std::vector<unsigned char>& bytes() { return m_bytes; }

    /// Gives `write(data, size)` as much as it accepts. False if the descriptor can no longer be used.
    template <class Write>
    bool flush(Write write) {
        std::size_t done = 0;
        bool usable = true;
        while (done < m_bytes.size()) {
            const auto count = write(m_bytes.data() + done, m_bytes.size() - done);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) {
                usable = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
                break;
            }
            done += static_cast<std::size_t>(count);
        }
        m_bytes.erase(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(done));
        return usable;
    }

private:
    std::vector<unsigned char> m_bytes;
};

}  // namespace lines
