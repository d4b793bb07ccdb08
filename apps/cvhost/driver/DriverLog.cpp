#include "apps/cvhost/driver/DriverLog.h"

#include <charconv>
#include <system_error>

namespace cvhost::driver::log {
namespace {

/// What stands between `head` and the final newline of a line that begins so.
std::optional<std::string_view> rest(std::string_view line, std::string_view head) {
    if (!line.starts_with(head) || !line.ends_with('\n')) return std::nullopt;
    return line.substr(head.size(), line.size() - head.size() - 1);
}

}  // namespace

std::optional<std::string_view> lookedForPort(std::string_view line) { return rest(line, "Looking for console on port "); }

std::optional<int> activeVersion(std::string_view line) {
    const auto digits = rest(line, "CON:   console_init: console version ");
    if (!digits) return std::nullopt;
    int version = 0;
    const auto end = std::from_chars(digits->data(), digits->data() + digits->size(), version);
    if (end.ec != std::errc() || end.ptr != digits->data() + digits->size()) return std::nullopt;
    return version;
}

bool isNoConsole(std::string_view line) { return line.starts_with("CON:   console_init: no console found"); }

std::optional<Read> read(std::string_view line) {
    constexpr std::string_view head = "CON:   ReadString: ";
    constexpr std::string_view counted = " (bytesRead: ";
    const std::size_t end = line.rfind(counted);
    if (!line.starts_with(head) || end == line.npos || end < head.size()) return std::nullopt;
    std::size_t count = 0;
    std::from_chars(line.data() + end + counted.size(), line.data() + line.size(), count);
    return Read{line.substr(head.size(), end - head.size()), count};
}

}  // namespace cvhost::driver::log
