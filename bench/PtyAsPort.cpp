// Lets libserialport take a pty for a serial port.
//
// Before it opens a port it asks sysfs whether there is such a tty, and then for the modem lines; a pty has neither. Here
// the program itself answers these questions for ptys, in place of the C library. Waiting and reading are not touched.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <string_view>

namespace {

bool isPty(const char* path) { return std::string_view(path).starts_with("/sys/class/tty/pts/"); }

}  // namespace

#pragma GCC visibility push(default)  // so that the library finds them
extern "C" {

int __lxstat(int, const char* path, struct stat* into) noexcept {  // lstat, as libraries built long ago call it
    if (!isPty(path)) return ::fstatat(AT_FDCWD, path, into, AT_SYMLINK_NOFOLLOW);
    *into = {};
    into->st_mode = S_IFLNK;
    return 0;
}

ssize_t readlink(const char* path, char* into, std::size_t size) noexcept {
    if (!isPty(path)) return ::readlinkat(AT_FDCWD, path, into, size);
    constexpr std::string_view target = "../../devices/virtual/tty/pts";
    return static_cast<ssize_t>(target.copy(into, size));
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const auto result = static_cast<int>(::syscall(SYS_ioctl, descriptor, request, argument));
    const bool modemLines = request == TIOCMGET || request == TIOCMSET || request == TIOCMBIS || request == TIOCMBIC;
    if (result == 0 || !modemLines || (errno != ENOTTY && errno != EINVAL)) return result;
    if (request == TIOCMGET) *static_cast<int*>(argument) = 0;
    return 0;
}
}
#pragma GCC visibility pop
