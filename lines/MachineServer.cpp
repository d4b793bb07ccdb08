#include "lines/MachineServer.h"

#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace lines {

desk::Time present() { return std::chrono::steady_clock::now().time_since_epoch(); }

namespace {

/// Starts a thread that blocks all signals.
template <class Body>
std::thread quietThread(Body body) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        std::thread thread(body);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return thread;
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
}

}  // namespace

MachineServer::MachineServer(std::unique_ptr<desk::Machine> machine, std::unique_ptr<Line> line, Failed failed)
    : m_line(std::move(line)),
      m_wake(cvhost::owned(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "no eventfd")),
      m_machine(std::move(machine)) {
    m_thread = quietThread([this, failed = std::move(failed)] {
        try {
            run();
        } catch (...) {
            if (!failed) throw;
            failed();
        }
    });
}

MachineServer::~MachineServer() {
    {
        const std::lock_guard guard(m_lock);
        m_stopping = true;
    }
    wake();
    m_thread.join();
}

void MachineServer::locked(const std::function<void(desk::Time)>& action) {
    {
        const std::lock_guard guard(m_lock);
        action(present());
    }
    wake();
}

void MachineServer::wake() {
    const std::uint64_t one = 1;
    // EAGAIN: a wake-up is pending already.
    [[maybe_unused]] const ssize_t written = ::write(m_wake.get(), &one, sizeof one);
}

void MachineServer::run() {
    std::vector<pollfd> waits;
    std::vector<unsigned char> sent;
    for (;;) {
        wait(waits);
        sent.clear();
        desk::Time now{};
        bool hangsUp = false;
        {
            const std::lock_guard guard(m_lock);
            if (m_stopping) return;
            m_line->service(*m_machine, present());
            now = present();
            while (const auto byte = m_machine->takeOutput(now)) sent.push_back(byte->byte);
            hangsUp = m_machine->takeHangUp(now);
        }
        if (!sent.empty()) m_line->send(sent, now);
        if (hangsUp) m_line->hangUp();
    }
}

void MachineServer::wait(std::vector<pollfd>& waits) {
    waits.assign(1, {.fd = m_wake.get(), .events = POLLIN, .revents = 0});
    m_line->watchFor(waits);
    std::optional<desk::Time> next = m_line->nextEvent();
    {
        const std::lock_guard guard(m_lock);
        const auto ofDesk = m_machine->nextEvent();
        if (!next || (ofDesk && *ofDesk < *next)) next = ofDesk;
    }
    timespec longest{};
    if (next) {
        const auto left = std::max(*next - present(), desk::Time::zero());
        const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
        longest = {.tv_sec = seconds.count(), .tv_nsec = (left - seconds).count()};
    }
    ::ppoll(waits.data(), waits.size(), next ? &longest : nullptr, nullptr);
    std::uint64_t wakeUps = 0;
    [[maybe_unused]] const ssize_t read = ::read(m_wake.get(), &wakeUps, sizeof wakeUps);
}

}  // namespace lines
