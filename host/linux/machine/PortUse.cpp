#include "host/linux/machine/PortUse.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace cvhost {
namespace {

namespace fs = std::filesystem;

std::string userName(uid_t id) {
    const passwd* entry = ::getpwuid(id);
    return entry == nullptr ? std::to_string(id) : entry->pw_name;
}

std::string groupName(gid_t id) {
    const group* entry = ::getgrgid(id);
    return entry == nullptr ? std::to_string(id) : entry->gr_name;
}

bool isMember(gid_t id, const std::string& user) {
    const group* entry = ::getgrgid(id);
    if (entry == nullptr) return false;
    for (char** member = entry->gr_mem; *member != nullptr; ++member) {
        if (user == *member) return true;
    }
    return false;
}

/// A process's number; nothing for a text that is none.
std::optional<pid_t> processNumber(std::string_view text) {
    pid_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number <= 0) return std::nullopt;
    return number;
}

/// The first line of a regular file, as far as a name or a number goes. Anybody may put anything where lock files are.
std::string firstLine(const fs::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) return {};
    std::array<char, 256> text;
    struct stat found{};
    const bool regular = ::fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode);
    const ssize_t size = regular ? ::read(descriptor, text.data(), text.size()) : 0;
    ::close(descriptor);
    const std::string_view begin(text.data(), size < 0 ? 0 : static_cast<std::size_t>(size));
    return std::string(begin.substr(0, begin.find('\n')));
}

std::string programOf(pid_t process, const HolderPlaces& places) {
    return firstLine(fs::path(places.processes) / std::to_string(process) / "comm");
}

/// All processes, lowest first. One that ends meanwhile does no harm.
std::vector<pid_t> processes(const HolderPlaces& places) {
    std::vector<pid_t> found;
    std::error_code error;
    for (fs::directory_iterator at(places.processes, error), end; !error && at != end; at.increment(error)) {
        if (const auto number = processNumber(at->path().filename().native())) found.push_back(*number);
    }
    std::ranges::sort(found);
    return found;
}

bool sameFile(const struct stat& one, const struct stat& other) {
    if (S_ISCHR(one.st_mode) && S_ISCHR(other.st_mode)) return one.st_rdev == other.st_rdev;
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool hasOpen(pid_t process, const struct stat& device, const HolderPlaces& places) {
    std::error_code error;
    const fs::path files = fs::path(places.processes) / std::to_string(process) / "fd";
    for (fs::directory_iterator at(files, error), end; !error && at != end; at.increment(error)) {
        struct stat file{};
        if (::stat(at->path().c_str(), &file) == 0 && sameFile(file, device)) return true;
    }
    return false;
}

/// The processes in /proc/locks that have locked the device's node: "1: FLOCK  ADVISORY  WRITE 812 00:05:333 0 EOF".
std::vector<pid_t> lockers(const struct stat& device, const HolderPlaces& places) {
    std::vector<pid_t> found;
    std::ifstream in(fs::path(places.processes) / "locks");
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string number, kind, manner, access, process, file;
        words >> number >> kind >> manner >> access >> process >> file;
        unsigned major = 0, minor = 0;
        unsigned long long inode = 0;
        char colon = 0;
        std::istringstream parts(file);
        parts >> std::hex >> major >> colon >> minor >> colon >> std::dec >> inode;
        const auto holder = processNumber(process);
        if (!holder || !parts || inode != device.st_ino || makedev(major, minor) != device.st_dev) continue;
        found.push_back(*holder);
    }
    return found;
}

/// The live process whose number a lock file begins with, in digits.
std::optional<pid_t> lockFileHolder(const std::string& file) {
    std::istringstream words(firstLine(file));
    std::string digits;
    words >> digits;
    const auto process = processNumber(digits);
    if (!process || (::kill(*process, 0) != 0 && errno == ESRCH)) return std::nullopt;
    return process;
}

}  // namespace

std::optional<PortAccess> accessTo(const std::string& path) {
    struct stat device{};
    if (::stat(path.c_str(), &device) != 0) return std::nullopt;
    PortAccess access{.owner = userName(device.st_uid), .group = groupName(device.st_gid), .mode = device.st_mode & 07777U};
    access.user = userName(::geteuid());
    access.allowed = ::access(path.c_str(), R_OK | W_OK) == 0;
    constexpr mode_t both = S_IRGRP | S_IWGRP;
    access.groupHelps = (device.st_mode & both) == both && device.st_gid != 0;
    access.inGroupLater = !access.allowed && access.groupHelps && isMember(device.st_gid, access.user);
    return access;
}

std::vector<PortHolder> holdersOf(const std::string& path, const HolderPlaces& places) {
    std::vector<PortHolder> holders;
    struct stat device{};
    if (::stat(path.c_str(), &device) != 0) return holders;
    const auto add = [&](pid_t process, std::string how) {
        const bool known = std::ranges::any_of(holders, [&](const auto& other) { return other.process == process; });
        if (known || process == ::getpid()) return;
        holders.push_back({.process = process, .program = programOf(process, places), .how = std::move(how)});
    };
    for (const pid_t process : processes(places)) {
        if (hasOpen(process, device, places)) add(process, "has it open");
    }
    for (const pid_t process : lockers(device, places)) add(process, "has locked it");
    const std::string lockFile = places.lockFiles + "/LCK.." + fs::path(path).filename().string();
    if (const auto process = lockFileHolder(lockFile)) add(*process, "has the lock file " + lockFile);
    return holders;
}

std::optional<pid_t> runningProgram(std::string_view program, const HolderPlaces& places) {
    for (const pid_t process : processes(places)) {
        if (programOf(process, places) == program) return process;
    }
    return std::nullopt;
}

}  // namespace cvhost
