#include "apps/cvhost/map/MpvSocket.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <utility>

#include "apps/cvhost/map/Target.h"

namespace cvhost::map {
namespace {

constexpr std::size_t longestPath = sizeof sockaddr_un{}.sun_path - 1;

}  // namespace

MpvSocket::MpvSocket(std::string path) : m_path(std::move(path)) {
    if (m_path.empty()) throw TargetFailure("the path of mpv's socket is empty");
    if (m_path.size() > longestPath) {
        throw TargetFailure("the path of mpv's socket is longer than " + std::to_string(longestPath) +
                            " characters: " + m_path);
    }
}

cvhost::FileDescriptor MpvSocket::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(m_path, address.sun_path);
    cvhost::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    // EAGAIN: an mpv that hangs has too many connections waiting.
    if (socket && ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) socket.reset();
    return socket;
}

}  // namespace cvhost::map
