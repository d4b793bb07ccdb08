// mpv as a child process, with its JSON interface on a private socket. mpv quits when the socket closes, so also when this
// program is killed.
//
// Threads: one at a time.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

#include "apps/cvhost/map/MpvLink.h"

namespace cvhost::map {

class MpvProcess final : public MpvLink {
public:
    /// Opens the file `film` in mpv, paused at its first frame. Throws TargetFailure.
    explicit MpvProcess(const std::string& film);
    MpvProcess(const MpvProcess&) = delete;
    MpvProcess& operator=(const MpvProcess&) = delete;
    /// Waits until mpv ends, as it does when its connection closes; kills it after a time.
    ~MpvProcess() override;

    cvhost::FileDescriptor connect() override { return std::exchange(m_socket, {}); }
    std::optional<std::chrono::milliseconds> retryDelay() const override { return std::nullopt; }

private:
    cvhost::FileDescriptor m_socket;  ///< until it is connected
    pid_t m_process = -1;
};

}  // namespace cvhost::map
