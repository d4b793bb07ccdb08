// The Debian packages that the machine has.
//
// Threads: any.
#pragma once

#include <string>

namespace cvhost {

/// "NAME VERSION", a line each: the installed packages that this program is in, uses, or shares serial ports with. Empty on
/// a system that is not Debian's. dpkg-query is asked.
std::string packageVersions();

}  // namespace cvhost
