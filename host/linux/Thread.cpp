#include "host/api/Thread.h"

#include <pthread.h>

#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "host/core/Events.h"
#include "host/core/Failure.h"

namespace {
/// The object whose body this thread runs, until it ends or destroys the object.
thread_local const BasicThread* t_self = nullptr;
}  // namespace

struct BasicThread::Running {
    std::thread thread;
    /// Shared with the thread, which may outlive the object.
    std::shared_ptr<std::atomic<bool>> finished = std::make_shared<std::atomic<bool>>(false);
};

BasicThread::BasicThread() noexcept = default;

BasicThread::~BasicThread() {
    endThread();
    if (t_self != this) return;
    t_self = nullptr;
    m_running->thread.detach();
    delete m_running;
}

// The priority is the host's wish only: an ordinary user's thread could be made slower, never faster.
bool BasicThread::beginThread(const char* name, iThread::ePriority) {
    if (t_self == this) return false;
    if (m_running != nullptr) {
        if (!m_running->finished->load(std::memory_order_acquire)) return false;
        endThread();
    }
    auto running = std::make_unique<Running>();
    m_keepRunning.store(true, std::memory_order_relaxed);
    try {
        auto body = [this, shown = std::string(name == nullptr ? "" : name).substr(0, 15), finished = running->finished] {
            ::pthread_setname_np(::pthread_self(), shown.c_str());
            t_self = this;
            cvhost::guarded([this] { threadFn(); });
            t_self = nullptr;
            cvhost::publish(cvhost::ThreadEnded{shown});
            finished->store(true, std::memory_order_release);
        };
        running->thread = std::thread(std::move(body));
    } catch (const std::system_error&) {
        cvhost::keepFailure();
        m_keepRunning.store(false, std::memory_order_relaxed);
        return false;
    }
    m_running = running.release();
    return true;
}

void BasicThread::endThread() {
    m_keepRunning.store(false, std::memory_order_relaxed);
    if (t_self == this || m_running == nullptr) return;
    m_running->thread.join();
    delete std::exchange(m_running, nullptr);
}
