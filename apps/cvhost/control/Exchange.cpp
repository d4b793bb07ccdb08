#include "apps/cvhost/control/Exchange.h"

#include <sys/eventfd.h>

#include <utility>

namespace cvhost::control {

Exchange::Exchange(common::RunClock start, bool simulated, std::function<void()> wakeMain)
    : m_wakeMain(std::move(wakeMain)),
      m_wake(cvhost::owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")),
      m_desk(simulated),
      m_report([this](std::string_view line) { m_line = line; }, start, true) {}

void Exchange::operator()(const Event& event) {
    const std::optional<EventKind> kind = kindOfEvent(event);
    const std::lock_guard lock(m_mutex);
    m_desk(event);
    if (!kind || !m_wanted.test(indexOf(*kind))) return;
    m_report(event);
    if (m_bytes + m_line.size() > capacity) {
        ++m_missing;
        return;
    }
    m_bytes += m_line.size();
    m_items.push_back({.kind = kind, .client = 0, .line = m_line});
    wake();
}

void Exchange::wake() noexcept { ::eventfd_write(m_wake.get(), 1); }

Exchange::News Exchange::take(bool withDesk) {
    eventfd_t wakes = 0;
    ::eventfd_read(m_wake.get(), &wakes);
    const std::lock_guard lock(m_mutex);
    m_bytes = 0;
    return {.items = std::exchange(m_items, {}),
            .missing = std::exchange(m_missing, 0),
            .desk = withDesk ? m_desk.json() : common::JsonText()};
}

void Exchange::want(EventKinds kinds) {
    const std::lock_guard lock(m_mutex);
    m_wanted = kinds;
}

bool Exchange::add(const Job& job) {
    {
        const std::lock_guard lock(m_mutex);
        if (job.command && m_jobs.size() >= mostJobs) return false;
        m_jobs.push_back(job);
    }
    m_wakeMain();
    return true;
}

std::vector<Job> Exchange::takeJobs() {
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_jobs, {});
}

void Exchange::answer(ClientId client, std::string refusal) {
    const std::lock_guard lock(m_mutex);
    m_items.push_back({.kind = {}, .client = client, .line = std::move(refusal)});
    wake();
}

}  // namespace cvhost::control
