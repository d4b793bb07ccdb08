#include "apps/cvhost/web/WebInterfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>
#include <utility>

namespace cvhost::web {
namespace {

bool isIpv6(const std::string& address) { return address.find(':') != address.npos; }

bool isLinkLocal(const std::string& address) { return address.starts_with("fe80:") || address.starts_with("169.254."); }

std::string numeric(const sockaddr& address) {
    const bool v4 = address.sa_family == AF_INET;
    std::array<char, NI_MAXHOST> text{};
    const socklen_t size = v4 ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    const bool known = v4 || address.sa_family == AF_INET6;
    if (!known || ::getnameinfo(&address, size, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) != 0) return {};
    return text.data();
}

}  // namespace

std::vector<std::string> machineAddresses() {
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return {};
    const std::unique_ptr<ifaddrs, decltype(&::freeifaddrs)> owner(list, ::freeifaddrs);
    std::vector<std::string> ipv4;
    std::vector<std::string> ipv6;
    for (const ifaddrs* each = list; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr == nullptr || (each->ifa_flags & IFF_UP) == 0 || (each->ifa_flags & IFF_LOOPBACK) != 0) continue;
        std::string address = numeric(*each->ifa_addr);
        if (address.empty() || isLinkLocal(address)) continue;
        (isIpv6(address) ? ipv6 : ipv4).push_back(std::move(address));
    }
    std::ranges::move(ipv6, std::back_inserter(ipv4));
    return ipv4;
}

WebAddress reachable(const WebAddress& served, std::span<const std::string> own) {
    const bool ipv4 = served.host == "0.0.0.0";
    if (!ipv4 && served.host != "::") return served;
    // [::] takes IPv4 as well.
    const auto found = std::ranges::find_if(own, [&](const std::string& address) { return !ipv4 || !isIpv6(address); });
    return {.host = found == own.end() ? "127.0.0.1" : *found, .port = served.port};
}

}  // namespace cvhost::web
