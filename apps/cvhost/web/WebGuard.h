// Who may ask the page's server for anything: pages that it served itself, and programs on purpose.
//
// A foreign page can have a browser send requests here (cross-site), and can have its own name resolve to this machine (DNS
// rebinding). The first shows in Origin, the second in Host.
//
// Pure functions; threads: any.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cvhost::web {

struct WebAddress {
    std::string host = "127.0.0.1";  ///< a numeric address without brackets, or a name
    std::uint16_t port = 0;          ///< 0: the system chooses
    bool open = false;               ///< other machines may reach it
};

/// "[ADDR:]PORT", ADDR being a name, an IPv4 address or an IPv6 address in brackets.
std::optional<WebAddress> webAddress(std::string_view text);

/// "http://ADDR:PORT/".
std::string webUrl(const WebAddress& address);

/// "localhost", ::1, or an address that begins with 127.
bool isLoopback(std::string_view host);

/// Whether a Host header names this server. A server on a loopback address answers to loopback names alone; any other to
/// numeric addresses, which no foreign name can stand for, and to the name that it was given.
bool hostIsOurs(std::string_view header, const WebAddress& served);

/// Whether an Origin header is that of a page from the server that `host`, a Host header that is ours, names.
bool originIsOurs(std::string_view origin, std::string_view host);

}  // namespace cvhost::web
