// A network port whose name has several addresses. The name is this program's own, and so is how long the network takes: on
// loopback a connection is there as soon as it is asked for.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <vector>

#include "host/linux/serial/Rfc2217.h"
#include "tests/unit/host/linux/serial/SerialRig.h"

namespace {

using namespace serialtest;

constexpr int roundTripMs = 50;

sockaddr_in placeOf(const Peer& peer) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    place.sin_port = htons(static_cast<std::uint16_t>(peer.port()));
    return place;
}

sockaddr* general(sockaddr_in& place) { return reinterpret_cast<sockaddr*>(&place); }

/// What any name stands for: `first`, then `second`.
struct Name {
    Name(const Peer& first, const Peer& second) : places{placeOf(first), placeOf(second)} {
        for (std::size_t i = 0; i < places.size(); ++i) {
            list[i].ai_family = AF_INET;
            list[i].ai_socktype = SOCK_STREAM;
            list[i].ai_addr = general(places[i]);
            list[i].ai_addrlen = sizeof places[i];
        }
        list[0].ai_next = &list[1];
        current = this;
    }
    Name(const Name&) = delete;
    Name& operator=(const Name&) = delete;
    ~Name() { current = nullptr; }

    static inline Name* current = nullptr;
    std::array<sockaddr_in, 2> places;
    std::array<addrinfo, 2> list{};
};

/// Has as many connections wait as it takes; whoever comes later hears nothing.
class SilentPeer : public Peer {
public:
    SilentPeer() {
        sockaddr_in place = placeOf(*this);
        for (int i = 0; i < 8; ++i) {
            m_waiting.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
            ::connect(m_waiting.back().get(), general(place), sizeof place);
        }
    }

private:
    std::vector<cvhost::FileDescriptor> m_waiting;
};

int portAtTheOtherEndOf(int connection) {
    sockaddr_in place{};
    socklen_t size = sizeof place;
    EXPECT_EQ(::getpeername(connection, general(place), &size), 0);
    return ntohs(place.sin_port);
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int getaddrinfo(const char*, const char*, const addrinfo*, addrinfo** found) {
    *found = Name::current->list.data();
    return 0;
}

[[gnu::visibility("default")]] void freeaddrinfo(addrinfo*) noexcept {}

[[gnu::visibility("default")]] int poll(pollfd* entries, nfds_t count, int timeoutMs) {
    if (timeoutMs >= 0 && timeoutMs < roundTripMs) return 0;
    const timespec limit{.tv_sec = timeoutMs / 1000, .tv_nsec = timeoutMs % 1000 * 1'000'000L};
    return ::ppoll(entries, count, timeoutMs < 0 ? nullptr : &limit, nullptr);
}
}

TEST(NetworkPort, FirstAddressIsSilent_SecondIsReached) {
    const SilentPeer silent;
    const Peer peer;
    const Name name(silent, peer);
    const auto opened = cvhost::openRfc2217("rfc2217://name:2217", {9600, 8, 'N', 1});
    ASSERT_TRUE(opened.transport) << opened.reason;
    ASSERT_EQ(portAtTheOtherEndOf(opened.transport->descriptor()), peer.port());
    peer.accept();  // and close at once: the port need not wait for it
}
