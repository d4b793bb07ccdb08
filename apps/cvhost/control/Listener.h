// The control socket's file, and the socket that listens there.
//
// Threads: construction and destruction by the owner.
#pragma once

#include <sys/types.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "host/core/FileDescriptor.h"

namespace cvhost::control {

/// Why there is no control socket, in a sentence without its full stop, with what to do.
struct ControlFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// $XDG_RUNTIME_DIR/cvhost/control. Nothing without that variable, or if it is not an absolute path.
std::optional<std::string> defaultPath();

/// Makes the folder of the default path, or takes this user's, and closes it to all others. Throws ControlFailure.
void makeDefaultFolder(const std::string& path);

class Listener {
public:
    /// Replaces a socket that no process listens on. Throws ControlFailure: when one does, its process is named.
    explicit Listener(std::string path);
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    /// Removes the file if it is still this one's.
    ~Listener();

    int descriptor() const { return m_socket.get(); }

private:
    const std::string m_path;
    const cvhost::FileDescriptor m_socket;
    dev_t m_device = 0;  ///< where the file is
    ino_t m_file = 0;
};

/// A socket connected to `path`; without a descriptor if that fails, with errno set.
cvhost::FileDescriptor connectTo(const std::string& path, int flags);

/// The other end of a connected socket.
struct Peer {
    pid_t process;
    uid_t user;
};
Peer peerOf(int socket);

}  // namespace cvhost::control
