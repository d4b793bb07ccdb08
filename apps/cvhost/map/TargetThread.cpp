#include "apps/cvhost/map/TargetThread.h"

#include <chrono>
#include <utility>

#include "host/core/Failure.h"

namespace cvhost::map {
namespace {

using Clock = std::chrono::steady_clock;

Mailbox::Time now() { return Clock::now().time_since_epoch(); }

}  // namespace

TargetThread::TargetThread(std::unique_ptr<Target> target)
    : m_target(std::move(target)), m_thread([this] { guarded([this] { work(); }); }) {}

TargetThread::~TargetThread() {
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_news.notify_one();
    m_thread.join();
}

void TargetThread::send(const Action& action) {
    {
        const std::lock_guard lock(m_mutex);
        if (m_failure) return;
        m_mailbox.put(action, now());
    }
    m_news.notify_one();
}

std::optional<std::string> TargetThread::failure() const {
    const std::lock_guard lock(m_mutex);
    return m_failure;
}

Lamps TargetThread::lamps() const {
    const std::lock_guard lock(m_mutex);
    return m_target ? m_target->lamps() : Lamps();
}

std::optional<std::string> TargetThread::trouble() const {
    const std::lock_guard lock(m_mutex);
    return m_target ? m_target->trouble() : std::nullopt;
}

void TargetThread::work() {
    try {
        takeAll();
        m_target->take({.kind = Action::Kind::releaseAll});
    } catch (const TargetFailure& failure) {
        std::unique_ptr<Target> failed;  // its end releases what it holds
        const std::lock_guard lock(m_mutex);
        failed = std::move(m_target);
        m_failure = failure.what();
    }
}

void TargetThread::takeAll() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_news.wait(lock, [this] { return m_stopping || !m_mailbox.empty(); });
        if (const auto until = m_mailbox.heldUntil(now()); until && !m_stopping) {
            m_news.wait_until(lock, Clock::time_point(*until));
            continue;
        }
        const auto action = m_mailbox.take(now());
        if (!action && m_stopping) return;
        if (!action) continue;
        lock.unlock();
        m_target->take(*action);
        lock.lock();
    }
}

}  // namespace cvhost::map
