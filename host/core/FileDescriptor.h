// Owns one file descriptor and closes it at the end.
//
// Threads: a plain value.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace cvhost {

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }
    void reset() {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd = -1;
};

/// Owns the descriptor that a system call returned. Throws std::system_error with `what` if the call failed.
inline FileDescriptor owned(int fd, const std::string& what) {
    if (fd < 0) throw std::system_error(errno, std::generic_category(), what);
    return FileDescriptor(fd);
}

}  // namespace cvhost
