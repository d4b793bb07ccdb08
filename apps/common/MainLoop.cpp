#include "apps/common/MainLoop.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <system_error>

namespace common {
namespace {

int checked(int descriptor, const char* what) {
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), what);
    return descriptor;
}

bool isIgnored(int number) {
    struct sigaction action{};
    return ::sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t endSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    const auto add = [&set](int number) {
        if (!isIgnored(number)) sigaddset(&set, number);
    };
    for (const int number :
         {SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGVTALRM, SIGPROF, SIGIO, SIGPWR, SIGSTKFLT, SIGXCPU})
        add(number);
    for (int number = SIGRTMIN; number <= SIGRTMAX; ++number) add(number);
    return set;
}

}  // namespace

MainLoop::MainLoop() : m_event(checked(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")) {
    const sigset_t set = endSignals();
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    m_signals = checked(::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC), "signalfd");
}

MainLoop::~MainLoop() {
    ::close(m_signals);
    ::close(m_event);
}

void MainLoop::signal() noexcept {
    const std::uint64_t one = 1;
    // EAGAIN: the counter is full, so the loop is awake.
    if (::write(m_event, &one, sizeof one) < 0) return;
}

void MainLoop::end() noexcept {
    m_ended = true;
    signal();
}

MainLoop::Cause MainLoop::wait(std::chrono::milliseconds timeout) {
    std::array<pollfd, 2> waited{pollfd{m_signals, POLLIN, 0}, pollfd{m_event, POLLIN, 0}};
    if (::poll(waited.data(), waited.size(), static_cast<int>(timeout.count())) <= 0) return Cause::time;
    if (waited[0].revents != 0 || m_ended) return Cause::end;
    std::uint64_t count = 0;
    if (::read(m_event, &count, sizeof count) < 0) return Cause::time;
    return Cause::event;
}

}  // namespace common
