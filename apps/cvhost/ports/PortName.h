// Which texts name a port, and which port was meant by one that does not.
//
// Threads: any.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cvhost::ports {

/// A path, a file in the current folder, or "rfc2217://HOST:PORT". The port need not exist.
bool isPortName(const std::string& name);

/// The one of `ports`, the machine's, that `name` probably means, or a network port; empty if there is none.
std::string similarPort(const std::string& name, std::span<const std::string> ports);

/// What is wrong with a text that is not a port's name, as a clause, with the expected form and a similar port of the
/// machine. An empty text means no port, and is right.
std::optional<std::string> portNameProblem(const std::string& name);

}  // namespace cvhost::ports
