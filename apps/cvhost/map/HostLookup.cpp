#include "apps/cvhost/map/HostLookup.h"

#include <netdb.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "apps/cvhost/map/Target.h"
#include "host/core/FileDescriptor.h"

namespace cvhost::map {
namespace {

struct FreeAddresses {
    void operator()(addrinfo* addresses) const { ::freeaddrinfo(addresses); }
};

/// Asks the resolver; `flags` are getaddrinfo's. 0, or its error.
int resolve(const std::string& host, int flags, in_addr& address) {
    addrinfo wanted{};
    wanted.ai_flags = flags;
    wanted.ai_family = AF_INET;  // programs with OSC listen on IPv4
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &found);
    const std::unique_ptr<addrinfo, FreeAddresses> addresses(found);
    if (error != 0) return error;
    sockaddr_in first{};
    std::memcpy(&first, addresses->ai_addr, sizeof first);
    address = first.sin_addr;
    return 0;
}

}  // namespace

struct HostLookup::Question {
    const std::string host;
    const FileDescriptor answered = owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd");
    in_addr address{};                   ///< before `error` is set
    std::atomic<int> error = EAI_AGAIN;  ///< getaddrinfo's; 0: there is an address
};

std::optional<in_addr> addressIn(const std::string& text) {
    in_addr address{};
    if (resolve(text, AI_NUMERICHOST, address) != 0) return std::nullopt;
    return address;
}

HostLookup::HostLookup(const std::string& host) : m_question(std::make_shared<Question>(host)) {
    std::thread thread([question = m_question]() noexcept {
        question->error = resolve(question->host, 0, question->address);
        ::eventfd_write(question->answered.get(), 1);
    });
    ::pthread_setname_np(thread.native_handle(), "Lookup");
    thread.detach();
}

int HostLookup::descriptor() const { return m_question->answered.get(); }

in_addr HostLookup::address() const {
    if (const int error = m_question->error; error != 0)
        throw TargetFailure("cannot find the host \"" + m_question->host + "\": " + ::gai_strerror(error));
    return m_question->address;
}

}  // namespace cvhost::map
