#include "apps/cvhost/control/LineBuffer.h"

#include <utility>

namespace cvhost::control {

std::optional<LineBuffer::Line> LineBuffer::take() {
    while (true) {
        const std::size_t end = m_bytes.find('\n');
        if (end == m_bytes.npos && m_bytes.size() <= longestLine && !m_dropping) return std::nullopt;
        std::string text = m_bytes.substr(0, end);
        m_bytes.erase(0, end == m_bytes.npos ? end : end + 1);
        const bool wasDropping = std::exchange(m_dropping, end == m_bytes.npos);
        if (wasDropping && m_dropping) return std::nullopt;
        if (wasDropping) continue;
        if (text.size() > longestLine) return Line{.text = {}, .tooLong = true};
        return Line{.text = std::move(text)};
    }
}

}  // namespace cvhost::control
