// The virtual machine that the kernel tests run in, as its first process sees it.
//
// Threads: the main thread.
#pragma once

#include <string>
#include <vector>

namespace kernel_test {

/// The kernel modules that a USB serial adapter and a keyboard of software need, in the order of loading. They are in
/// /modules.
const std::vector<std::string>& modules();

/// Mounts what programs expect. Throws std::system_error when the kernel refuses.
void mountFileSystems();
void loadModule(const std::string& name);
void unloadModule(const std::string& name);

/// The first line of a small file, without its end.
std::string readLine(const std::string& path);

/// Ends the virtual machine: does not return.
[[noreturn]] void powerOff(bool passed);

}  // namespace kernel_test
