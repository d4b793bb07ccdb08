#include "host/linux/Event.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace cvhost {
namespace {

class Event final : public iThreadEvent {
public:
    Event(bool manualReset, bool signalled) : m_manualReset(manualReset), m_signalled(signalled) {}

    int wait(unsigned timeoutMs) override {
        // The steady clock: setting the machine's time neither cuts a wait short nor draws it out.
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        std::unique_lock held(m_lock);
        if (!m_changed.wait_until(held, end, [this] { return m_signalled; })) return 1;
        if (!m_manualReset) m_signalled = false;
        return 0;
    }
    void signal() override {
        const std::lock_guard held(m_lock);
        m_signalled = true;
        // Under the lock, so that a waiter that releases the event cannot be ahead of the call.
        m_changed.notify_all();
    }
    void reset() override {
        const std::lock_guard held(m_lock);
        m_signalled = false;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    const bool m_manualReset;
    bool m_signalled;
};

}  // namespace

Cv::Ptr<iThreadEvent> createEvent(bool manualReset, bool initiallySignalled) {
    return new Event(manualReset, initiallySignalled);
}

}  // namespace cvhost
