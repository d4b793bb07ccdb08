#include "apps/cvhost/map/TargetThread.h"

#include <condition_variable>
#include <mutex>
#include <utility>

#include "apps/cvhost/map/Mailbox.h"
#include "host/core/Failure.h"

namespace cvhost::map {
namespace {

Mailbox::Time now() { return std::chrono::steady_clock::now().time_since_epoch(); }

}  // namespace

struct TargetThread::Shared {
    std::mutex mutex;
    std::condition_variable news;
    std::unique_ptr<Target> target;      ///< under `mutex`; only the thread changes it, to null when it has failed
    Mailbox mailbox;                     ///< under `mutex`
    bool stopping = false;               ///< under `mutex`
    bool ended = false;                  ///< under `mutex`
    std::optional<std::string> failure;  ///< under `mutex`
};

TargetThread::TargetThread(std::unique_ptr<Target> target) : m_shared(std::make_shared<Shared>()) {
    m_shared->target = std::move(target);
    m_thread = std::thread([shared = m_shared] {
        guarded([&] { work(*shared); });
        const std::lock_guard lock(shared->mutex);
        shared->ended = true;
        shared->news.notify_all();
    });
}

TargetThread::~TargetThread() {
    std::unique_lock lock(m_shared->mutex);
    m_shared->stopping = true;
    m_shared->news.notify_all();
    const bool ended = m_shared->news.wait_for(lock, longestEnd, [this] { return m_shared->ended; });
    lock.unlock();
    ended ? m_thread.join() : m_thread.detach();
}

void TargetThread::send(const Action& action) {
    {
        const std::lock_guard lock(m_shared->mutex);
        if (m_shared->failure) return;
        m_shared->mailbox.put(action, now());
    }
    m_shared->news.notify_all();
}

std::optional<std::string> TargetThread::failure() const {
    const std::lock_guard lock(m_shared->mutex);
    return m_shared->failure;
}

Lamps TargetThread::lamps() const {
    const std::lock_guard lock(m_shared->mutex);
    return m_shared->target ? m_shared->target->lamps() : Lamps();
}

void TargetThread::work(Shared& shared) {
    try {
        takeAll(shared);
        shared.target->take({.kind = Action::Kind::releaseAll});
    } catch (const TargetFailure& failure) {
        std::unique_ptr<Target> failed;  // its end releases what it holds
        const std::lock_guard lock(shared.mutex);
        failed = std::move(shared.target);
        shared.failure = failure.what();
    }
}

void TargetThread::takeAll(Shared& shared) {
    std::unique_lock lock(shared.mutex);
    for (;;) {
        shared.news.wait(lock, [&] { return shared.stopping || !shared.mailbox.empty(); });
        const auto action = shared.mailbox.take(now());
        if (!action && shared.stopping) return;
        if (!action) continue;
        lock.unlock();
        shared.target->take(*action);
        lock.lock();
    }
}

}  // namespace cvhost::map
