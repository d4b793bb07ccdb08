// What a client has not taken yet: whole lines, of bounded size.
//
// Threads: one at a time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace cvhost::control {

class Backlog {
public:
    static constexpr std::size_t limit = 256 * 1024;

    /// False if there is no room for the line: then nothing is added.
    bool add(std::string_view line) {
        if (m_bytes.size() - m_sent + line.size() > limit) return false;
        m_bytes.erase(0, std::exchange(m_sent, 0));
        m_bytes += line;
        return true;
    }
    std::string_view unsent() const { return std::string_view(m_bytes).substr(m_sent); }
    void sent(std::size_t count) {
        m_sent += count;
        if (m_sent < m_bytes.size()) return;
        m_bytes.clear();
        m_sent = 0;
    }

private:
    std::string m_bytes;
    std::size_t m_sent = 0;
};

}  // namespace cvhost::control
