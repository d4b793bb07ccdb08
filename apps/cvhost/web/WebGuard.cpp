#include "apps/cvhost/web/WebGuard.h"

#include <arpa/inet.h>

#include <charconv>

namespace cvhost::web {
namespace {

bool isNumeric(const std::string& host) {
    in6_addr ignored{};
    return ::inet_pton(AF_INET, host.c_str(), &ignored) == 1 || ::inet_pton(AF_INET6, host.c_str(), &ignored) == 1;
}

bool sameName(std::string_view one, std::string_view other) {
    const auto lower = [](char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter; };
    if (one.size() != other.size()) return false;
    for (std::size_t i = 0; i < one.size(); ++i) {
        if (lower(one[i]) != lower(other[i])) return false;
    }
    return true;
}

std::optional<std::uint16_t> portNumber(std::string_view digits) {
    std::uint16_t port = 0;
    const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), port);
    if (end.ec != std::errc() || end.ptr != digits.data() + digits.size()) return std::nullopt;
    return port;
}

bool isNameOrAddress(std::string_view host) {
    constexpr std::string_view known = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
    return !host.empty() && host.size() <= 253 && host.find_first_not_of(known) == host.npos;
}

}  // namespace

std::optional<WebAddress> webAddress(std::string_view text) {
    const std::size_t colon = text.rfind(':');
    const auto port = portNumber(colon == text.npos ? text : text.substr(colon + 1));
    if (!port) return std::nullopt;
    if (colon == text.npos) return WebAddress{.port = *port};
    std::string_view host = text.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        const std::string inner(host.substr(1, host.size() - 2));
        if (inner.find(':') == inner.npos || !isNumeric(inner)) return std::nullopt;
        return WebAddress{.host = inner, .port = *port};
    }
    if (!isNameOrAddress(host)) return std::nullopt;
    return WebAddress{.host = std::string(host), .port = *port};
}

std::string webUrl(const WebAddress& address) {
    const bool brackets = address.host.find(':') != std::string::npos;
    return "http://" + (brackets ? '[' + address.host + ']' : address.host) + ':' + std::to_string(address.port) + '/';
}

bool isLoopback(std::string_view host) {
    return host == "::1" || sameName(host, "localhost") || (host.starts_with("127.") && isNumeric(std::string(host)));
}

bool hostIsOurs(std::string_view header, const WebAddress& served) {
    // Browsers leave port 80 out.
    const bool bare = header.rfind(':') == header.npos || header.ends_with(']');
    const auto asked = webAddress(bare ? std::string(header) + ":80" : std::string(header));
    if (!asked || asked->port != served.port) return false;
    if (isLoopback(asked->host)) return true;
    return !isLoopback(served.host) && (isNumeric(asked->host) || sameName(asked->host, served.host));
}

bool originIsOurs(std::string_view origin, std::string_view host) {
    constexpr std::string_view scheme = "http://";
    return origin.starts_with(scheme) && sameName(origin.substr(scheme.size()), host);
}

}  // namespace cvhost::web
