#include "apps/cvhost/map/MpvProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

#include "apps/cvhost/map/Target.h"

namespace cvhost::map {
namespace {

constexpr int socketInMpv = 3;
constexpr int endTimeoutMs = 2000;

/// mpv must not inherit this program's blocked and ignored signals. It gets a process group of its own: Ctrl-C in the
/// terminal ends this program, and that ends mpv.
class Attributes {
public:
    Attributes() {
        ::posix_spawnattr_init(&m_attributes);
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setpgroup(&m_attributes, 0);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { ::posix_spawnattr_destroy(&m_attributes); }

    const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes{};
};

pid_t spawn(const std::string& film, int socket) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, socket, socketInMpv);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO}) {
        ::posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
    }
    std::string client = "--input-ipc-client=fd://" + std::to_string(socketInMpv);
    std::string file = std::filesystem::absolute(film);  // begins with a slash, so it is neither an option nor an address
    std::array<std::string, 7> words{"mpv", "--no-terminal", "--pause", "--keep-open=yes", "--hr-seek=yes", client, file};
    std::array<char*, 8> arguments{};
    for (std::size_t i = 0; i < words.size(); ++i) arguments.at(i) = words.at(i).data();
    pid_t process = -1;
    const int error = ::posix_spawnp(&process, "mpv", &actions, Attributes().get(), arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error == ENOENT) throw TargetFailure("mpv is not installed; install the package mpv");
    if (error != 0) throw TargetFailure("mpv cannot be started: " + std::generic_category().message(error));
    return process;
}

bool endsInTime(pid_t process) {
    const cvhost::FileDescriptor handle(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    pollfd waited{handle.get(), POLLIN, 0};
    return handle.get() >= 0 && ::poll(&waited, 1, endTimeoutMs) > 0;
}

}  // namespace

MpvProcess::MpvProcess(const std::string& film) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw TargetFailure("no socket for mpv: " + std::generic_category().message(errno));
    }
    m_socket = cvhost::FileDescriptor(ends[0]);
    const cvhost::FileDescriptor theirs(ends[1]);
    if (::fcntl(m_socket.get(), F_SETFL, O_NONBLOCK) != 0) throw TargetFailure("no socket for mpv");
    m_process = spawn(film, theirs.get());
}

MpvProcess::~MpvProcess() {
    m_socket.reset();
    if (m_process <= 0) return;
    if (!endsInTime(m_process)) ::kill(m_process, SIGKILL);
    while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace cvhost::map
