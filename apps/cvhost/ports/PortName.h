// Which texts name a port, and which port was meant by one that does not.
//
// Threads: any.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace cvhost::ports {

/// A path, a file in the current folder, or "rfc2217://HOST:PORT". The port need not exist.
bool isPortName(const std::string& name);

/// The one of `ports`, the machine's, that `name` probably means, or a network port; empty if there is none.
std::string similarPort(const std::string& name, std::span<const std::string> ports);

/// Half a sentence about a text that is not a port's name, with the expected form and the machine's port that is similar;
/// empty for a port's name, and for an empty text, which stands for no port.
std::string portNameProblem(const std::string& name);

}  // namespace cvhost::ports
