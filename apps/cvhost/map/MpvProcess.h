// mpv as a child process, with its JSON interface on a private socket. mpv quits when the socket closes, so also when this
// program is killed.
//
// Threads: one at a time.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <stdexcept>
#include <string>

#include "host/core/FileDescriptor.h"

namespace cvhost::map {

/// Why mpv does not run: a sentence without a full stop.
struct MpvFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class MpvProcess {
public:
    /// Opens the file `film` in mpv, paused at its first frame. Throws MpvFailure.
    explicit MpvProcess(const std::string& film);
    MpvProcess(const MpvProcess&) = delete;
    MpvProcess& operator=(const MpvProcess&) = delete;
    /// Closes the socket and waits until mpv ends; kills it after a time.
    ~MpvProcess();

    /// Non-blocking.
    int socket() const { return m_socket.get(); }

private:
    cvhost::FileDescriptor m_socket;
    pid_t m_process = -1;
};

}  // namespace cvhost::map
