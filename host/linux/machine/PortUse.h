// Who may use a serial port, and who uses it. To find out, only /proc and lock files are read; no port is opened.
//
// Threads: any.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cvhost {

/// A device node's rights, and what they mean for the user that this process runs as.
struct PortAccess {
    std::string owner;  ///< a user's name, or a number that has none
    std::string group;  ///< likewise
    unsigned mode = 0;  ///< the twelve bits that chmod sets
    bool allowed = false;
    bool groupHelps = false;    ///< members of the group may read and write, and it is not root's
    bool inGroupLater = false;  ///< the user has been made a member, but not yet when this session began
    std::string user{};         ///< who this process runs as
};
/// Nothing when there is no such file.
std::optional<PortAccess> accessTo(const std::string& path);

/// A process that keeps a port to itself or has it open.
struct PortHolder {
    pid_t process;
    std::string program;  ///< its short name; empty when it has gone or its name is hidden
    std::string how;      ///< "has it open", "has locked it" or "has the lock file PATH"
};

/// Where holders are looked for.
struct HolderPlaces {
    std::string processes = "/proc";
    std::string lockFiles = "/var/lock";
};
/// The processes that have `path` open, have locked it, or have a lock file LCK..NAME for it; not this one. What the
/// processes of other users have open is seen by root alone, their locks by everybody.
std::vector<PortHolder> holdersOf(const std::string& path, const HolderPlaces& places = {});

/// The lowest process whose short name is `program`; nothing when none runs.
std::optional<pid_t> runningProgram(std::string_view program, const HolderPlaces& places = {});

}  // namespace cvhost
