// Which texts name a port, and which port was meant by one that does not.
//
// Threads: any.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cvhost::ports {

/// Stands for an adapter that names itself Corvane and that no other cvhost serves by its own name.
inline constexpr std::string_view anyConsole = "corvane";

/// A path, a file in the current folder, "rfc2217://HOST:PORT", anyConsole, or an adapter's USB serial number or the name of
/// its link in /dev/serial/by-id or /dev/serial/by-path. The port need not exist.
bool isPortName(const std::string& name);

/// The device to open for `name`, as the machine is now. A name that stands for no device, or for none that is there, is
/// its own answer.
std::string deviceOf(const std::string& name);
/// Has the serial library open deviceOf() for each name.
void followPortNames();

/// `name` as the end of a sentence such as "there is no ...".
std::string describedPort(const std::string& name);

/// The one of `ports`, the machine's, that `name` probably means, or a network port; empty if there is none.
std::string similarPort(const std::string& name, std::span<const std::string> ports);

/// What is wrong with a text that is not a port's name, as a clause, with the expected form and a similar port of the
/// machine. An empty text means no port, and is right.
std::optional<std::string> portNameProblem(const std::string& name);

}  // namespace cvhost::ports
