// Who may send requests to the page's server: its own pages, and programs that do so on purpose.
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

/// Reads "[ADDR:]PORT". ADDR is a name, an IPv4 address, or an IPv6 address in brackets.
std::optional<WebAddress> webAddress(std::string_view text);

/// "http://ADDR:PORT/".
std::string webUrl(const WebAddress& address);

/// "localhost", ::1, or an address that begins with 127.
bool isLoopback(std::string_view host);

/// Whether a Host header names this server. A server on a loopback address accepts loopback names only. Any other accepts
/// numeric addresses, which no foreign name can replace, and its own name.
bool hostIsOurs(std::string_view header, const WebAddress& served);

/// Whether an Origin header belongs to a page from this server. `host` is the request's Host header, already accepted.
bool originIsOurs(std::string_view origin, std::string_view host);

}  // namespace cvhost::web
