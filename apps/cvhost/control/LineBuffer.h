// Bytes as they arrive, cut into lines of bounded length.
//
// Threads: one at a time.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace cvhost::control {

class LineBuffer {
public:
    static constexpr std::size_t longestLine = 4096;  ///< without its end

    struct Line {
        std::string text;
        bool tooLong = false;  ///< there is no text; the rest, up to its end, is dropped
    };

    void add(std::string_view bytes) { m_bytes += bytes; }
    /// The next line, without its end; nothing if there is no whole one.
    std::optional<Line> take();
    /// A whole line, or one that is too long, waits.
    bool hasLine() const { return m_bytes.find('\n') != m_bytes.npos || m_bytes.size() > longestLine; }

private:
    std::string m_bytes;
    bool m_dropping = false;  ///< the rest of a line that was too long
};

}  // namespace cvhost::control
