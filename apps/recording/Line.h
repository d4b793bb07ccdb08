// One line of a recording: the members that this program knows. It ignores all others.
//
// Threads: plain values.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace recording {

/// A line of 4096 received bytes, all escaped, fits several times over.
inline constexpr std::size_t longestLine = 256UL * 1024;

enum class Member {
    t,
    event,
    port,
    baud,
    dataBits,
    parity,
    stopBits,
    text,
    bytes,
    level,
    name,
    arguments,
    code,
    format,
    version,
    program,
    started,
    count
};

class Line {
public:
    explicit Line(std::string_view text);

    // The first member that is missing or wrong becomes the problem; its value is then 0 or empty.

    /// A whole number from `lowest` to `highest`.
    std::int64_t number(Member member, std::int64_t lowest, std::int64_t highest);
    std::string text(Member member);
    std::vector<int> arguments();

    bool good() const { return m_problem.empty(); }
    const std::string& problem() const { return m_problem; }
    void spoil(std::string problem) {
        if (good()) m_problem = std::move(problem);
    }

private:
    friend class LineParser;
    /// Nothing: the member is missing, or its value is of another kind.
    using Value = std::variant<std::monostate, std::int64_t, std::string>;

    std::array<Value, static_cast<std::size_t>(Member::count)> m_values;
    std::vector<int> m_arguments;
    bool m_hasArguments = false;
    std::string m_problem;
};

}  // namespace recording
