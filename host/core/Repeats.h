// Which texts have been said already.
//
// Threads: one at a time.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace cvhost {

class Repeats {
public:
    /// Whether `text` is new since the last call of forget(). It is not new the next time.
    bool isNew(std::string_view text) {
        if (m_said.size() >= most) m_said.clear();
        return m_said.emplace(text).second;
    }
    void forget() { m_said.clear(); }

private:
    static constexpr std::size_t most = 256;  ///< then all are forgotten
    std::set<std::string> m_said;
};

}  // namespace cvhost
