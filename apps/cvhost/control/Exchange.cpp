#include "apps/cvhost/control/Exchange.h"

#include <sys/eventfd.h>

#include <utility>

namespace cvhost::control {

Exchange::Exchange(common::RunClock start, bool simulated, std::function<void()> wakeMain)
    : m_wakeMain(std::move(wakeMain)),
      m_wake(cvhost::owned(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC), "eventfd")),
      m_report([this](std::string_view line) { m_line = line; }, start, true),
      m_desk(simulated) {}

void Exchange::operator()(const Event& event) {
    const std::optional<EventKind> kind = kindOfEvent(event);
    const std::lock_guard lock(m_mutex);
    m_desk(event);
    if (!kind || !m_wanted.test(indexOf(*kind))) return;
    if (!m_events.add(event)) {
        ++m_missing;
        return;
    }
    wake();
}

void Exchange::wake() noexcept { ::eventfd_write(m_wake.get(), 1); }

Exchange::News Exchange::take(bool withDesk) {
    eventfd_t wakes = 0;
    ::eventfd_read(m_wake.get(), &wakes);
    News news;
    std::vector<Answer> answers;
    m_given.clear();
    {
        const std::lock_guard lock(m_mutex);
        std::swap(m_events, m_given);
        answers.swap(m_answers);
        news.missing = std::exchange(m_missing, 0);
        if (withDesk) news.desk = m_desk.json();
    }
    auto answer = answers.begin();
    const auto addAnswers = [&](std::size_t place) {
        for (; answer != answers.end() && answer->place <= place; ++answer) news.items.push_back(std::move(answer->item));
    };
    std::size_t place = 0;
    for (const report::EventBatch::Item& item : m_given.items()) {
        addAnswers(place++);
        const common::RunClock::Moment moment(item.at);
        m_report(item.event);
        news.items.push_back({.kind = kindOfEvent(item.event), .client = 0, .line = m_line});
    }
    addAnswers(place);
    return news;
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
    m_answers.push_back(
        {.place = m_events.items().size(), .item = {.kind = {}, .client = client, .line = std::move(refusal)}});
    wake();
}

}  // namespace cvhost::control
