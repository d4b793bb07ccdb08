#include "apps/cvhost/control/Listener.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

namespace cvhost::control {
namespace {

constexpr int waitingConnections = 64;
constexpr int mostTries = 20;  ///< to lock a folder, which another of these has for a moment
constexpr std::chrono::milliseconds retryDelay{10};

[[noreturn]] void fail(const std::string& path, int error) {
    throw ControlFailure("no control socket at " + path + ": " + std::generic_category().message(error) +
                         "; name another path with --control, or off");
}

[[noreturn]] void failLocked(const std::string& path, const std::string& folder) {
    throw ControlFailure("no control socket at " + path + ": another process has locked the folder " + folder +
                         "; end that process, or name another path with --control, or off");
}

bool fitsAddress(const std::string& path) { return path.size() < sizeof sockaddr_un{}.sun_path; }

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(path, address.sun_path);
    return address;
}

cvhost::FileDescriptor newSocket(int flags) {
    return cvhost::FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

/// Removes the socket of a process that has gone.
void clear(const std::string& path) {
    struct stat found{};
    if (::lstat(path.c_str(), &found) != 0) return;
    if (!S_ISSOCK(found.st_mode)) throw ControlFailure("no control socket at " + path + ": there is a file of another kind");
    const cvhost::FileDescriptor other = connectTo(path, SOCK_NONBLOCK);
    if (!other && errno == ECONNREFUSED) {
        ::unlink(path.c_str());
        return;
    }
    const std::string process = other ? "process " + std::to_string(peerOf(other.get()).process) : "another process";
    throw ControlFailure("no control socket: " + process + " has " + path + "; name another path with --control");
}

/// Until its end, no other of these looks whether a socket in the same folder is in use.
cvhost::FileDescriptor lockedFolder(const std::string& path) {
    const std::string folder = std::filesystem::absolute(path).parent_path();
    cvhost::FileDescriptor lock(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!lock) fail(path, errno);
    for (int tries = 1; ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0; ++tries) {
        if (errno != EWOULDBLOCK) fail(path, errno);
        if (tries == mostTries) failLocked(path, folder);
        std::this_thread::sleep_for(retryDelay);
    }
    return lock;
}

}  // namespace

std::optional<std::string> defaultPath() {
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    if (folder == nullptr || *folder != '/') return std::nullopt;
    return std::string(folder) + "/cvhost/control";
}

void makeDefaultFolder(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path();
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) fail(path, errno);
    struct stat found{};
    if (::lstat(folder.c_str(), &found) != 0) fail(path, errno);
    if (!S_ISDIR(found.st_mode) || found.st_uid != ::geteuid()) fail(path, EACCES);
    if ((found.st_mode & ALLPERMS) != S_IRWXU && ::chmod(folder.c_str(), S_IRWXU) != 0) fail(path, errno);
}

cvhost::FileDescriptor connectTo(const std::string& path, int flags) {
    if (!fitsAddress(path)) {
        errno = ENAMETOOLONG;
        return {};
    }
    cvhost::FileDescriptor socket = newSocket(flags);
    const sockaddr_un address = addressOf(path);
    if (socket && ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return socket;
    const int error = errno;
    socket.reset();
    errno = error;
    return socket;
}

Peer peerOf(int socket) {
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return {.process = 0, .user = uid_t(-1)};
    return {.process = credentials.pid, .user = credentials.uid};
}

Listener::Listener(std::string path) : m_path(std::move(path)), m_socket(newSocket(SOCK_NONBLOCK)) {
    if (!m_socket) fail(m_path, errno);
    if (!fitsAddress(m_path)) fail(m_path, ENAMETOOLONG);
    const cvhost::FileDescriptor lock = lockedFolder(m_path);
    clear(m_path);
    const sockaddr_un address = addressOf(m_path);
    if (::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail(m_path, errno);
    struct stat made{};
    if (::lstat(m_path.c_str(), &made) != 0) fail(m_path, errno);
    m_device = made.st_dev;
    m_file = made.st_ino;
    // Nobody can connect before it listens.
    const bool ready = ::chmod(m_path.c_str(), S_IRUSR | S_IWUSR) == 0 && ::listen(m_socket.get(), waitingConnections) == 0;
    if (!ready) {
        const int error = errno;
        ::unlink(m_path.c_str());
        fail(m_path, error);
    }
}

Listener::~Listener() {
    struct stat found{};
    if (::lstat(m_path.c_str(), &found) != 0) return;
    if (found.st_dev == m_device && found.st_ino == m_file) ::unlink(m_path.c_str());
}

}  // namespace cvhost::control
