#include "apps/recording/Line.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

namespace recording {
namespace {

constexpr std::size_t memberCount = static_cast<std::size_t>(Member::count);
constexpr std::array<std::string_view, memberCount> memberNames{
    "t",     "event", "port",      "baud", "data_bits", "parity",  "stop_bits", "text",   "bytes",
    "level", "name",  "arguments", "code", "format",    "version", "program",   "started"};
/// More than any program writes, which is two.
constexpr int mostLevels = 64;
constexpr std::size_t mostArguments = 64;

constexpr std::string_view blanks = " \t\r";
constexpr const char* noObject = "it is no JSON object";

std::string quoted(Member member) { return '"' + std::string(memberNames[static_cast<std::size_t>(member)]) + '"'; }

}  // namespace

/// Takes the known members from the parser as it comes to them, so that no tree of the line is ever built.
class LineParser {
public:
    using number_integer_t = std::int64_t;
    using number_unsigned_t = std::uint64_t;
    using number_float_t = double;
    using string_t = std::string;
    using binary_t = nlohmann::json::binary_t;

    explicit LineParser(Line& line) : m_line(line) {}

    bool null() { return take({}); }
    bool boolean(bool) { return take({}); }
    bool number_integer(number_integer_t value) { return take(value); }
    bool number_unsigned(number_unsigned_t value) {
        if (value > static_cast<number_unsigned_t>(std::numeric_limits<std::int64_t>::max())) return take({});
        return take(static_cast<std::int64_t>(value));
    }
    bool number_float(number_float_t, const string_t&) { return take({}); }
    bool string(string_t& value) { return take(std::move(value)); }
    bool binary(binary_t&) { return take({}); }

    bool start_object(std::size_t) { return begin(); }
    bool key(string_t& name) {
        if (m_depth != 1) return true;
        const auto found = std::ranges::find(memberNames, name);
        m_member =
            found == memberNames.end() ? std::nullopt : std::optional(static_cast<Member>(found - memberNames.begin()));
        return true;
    }
    bool end_object() { return end(); }
    bool start_array(std::size_t) {
        if (m_depth == 1 && m_member == Member::arguments) {
            m_line.m_arguments.clear();
            m_line.m_hasArguments = m_inArguments = true;
            ++m_depth;
            return true;
        }
        return begin();
    }
    bool end_array() { return end(); }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) { return false; }

private:
    /// A list or an object begins: a value of no kind that a member has.
    bool begin() {
        if (!take({})) return false;
        if (++m_depth <= mostLevels) return true;
        m_line.m_problem = "its values are nested too deep";
        return false;
    }
    bool end() {
        if (--m_depth == 1) m_inArguments = false;
        return true;
    }
    bool take(Line::Value value) {
        if (m_inArguments && m_depth == 2) return takeArgument(value);
        if (m_depth != 1 || !m_member) return true;
        if (m_member == Member::arguments) m_line.m_hasArguments = false;
        m_line.m_values[static_cast<std::size_t>(*m_member)] = std::move(value);
        return true;
    }
    bool takeArgument(const Line::Value& value) {
        constexpr auto lowest = std::numeric_limits<int>::min();
        constexpr auto highest = std::numeric_limits<int>::max();
        const auto* number = std::get_if<std::int64_t>(&value);
        if (m_line.m_arguments.size() == mostArguments) {
            m_line.m_problem = "there are more than " + std::to_string(mostArguments) + " arguments";
        } else if (number == nullptr || *number < lowest || *number > highest) {
            m_line.m_problem =
                "\"arguments\" must be whole numbers from " + std::to_string(lowest) + " to " + std::to_string(highest);
        } else {
            m_line.m_arguments.push_back(static_cast<int>(*number));
        }
        return m_line.m_problem.empty();
    }

    Line& m_line;
    int m_depth = 0;
    std::optional<Member> m_member;  ///< whose value comes next
    bool m_inArguments = false;
};

Line::Line(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(blanks);
    const std::size_t end = text.find_last_not_of(blanks);
    if (text.size() > longestLine) {
        spoil("the line is too long");
    } else if (begin == text.npos || text[begin] != '{' || text[end] != '}') {
        spoil(noObject);
    } else {
        LineParser parser(*this);
        if (!nlohmann::json::sax_parse(text.begin(), text.end(), &parser)) spoil(noObject);
    }
}

std::int64_t Line::number(Member member, std::int64_t lowest, std::int64_t highest) {
    const auto* found = std::get_if<std::int64_t>(&m_values[static_cast<std::size_t>(member)]);
    if (found != nullptr && *found >= lowest && *found <= highest) return *found;
    spoil(quoted(member) + " must be a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest));
    return 0;
}

std::string Line::text(Member member) {
    auto* found = std::get_if<std::string>(&m_values[static_cast<std::size_t>(member)]);
    if (found != nullptr) return std::move(*found);
    spoil(quoted(member) + " must be a text");
    return {};
}

std::vector<int> Line::arguments() {
    if (!m_hasArguments) spoil("\"arguments\" must be a list of numbers");
    return std::move(m_arguments);
}

}  // namespace recording
