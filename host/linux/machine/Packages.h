// What other programs of the machine know: its packages, and the journal.
//
// Threads: any.
#pragma once

#include <string>

namespace cvhost {

/// "NAME VERSION", a line each: the installed packages that this program is in, uses, or shares serial ports with. Empty on
/// a system that is not Debian's. dpkg-query is asked.
std::string packageVersions();

/// What this user's services of cvhost have put into the system's journal, its last lines. Empty if there is nothing, or no
/// journal. journalctl is asked.
std::string journalEntries();

}  // namespace cvhost
