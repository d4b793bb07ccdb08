// The addresses by which other machines reach this one.
//
// Threads: any.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "apps/cvhost/web/WebGuard.h"

namespace cvhost::web {

/// The numeric addresses of the network interfaces that are up, IPv4 first, without loopback and link-local ones.
std::vector<std::string> machineAddresses();

/// `served`; or if that is a wildcard, the first address in `own` that it covers; 127.0.0.1 if there is none.
WebAddress reachable(const WebAddress& served, std::span<const std::string> own);

}  // namespace cvhost::web
