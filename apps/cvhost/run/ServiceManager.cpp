#include "apps/cvhost/run/ServiceManager.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace cvhost::run {
namespace {

constexpr int feedsInWatchdogTime = 4;

void notify(const std::string& state) { ::sd_notify(0, state.c_str()); }

}  // namespace

ServiceManager::ServiceManager() : m_present(std::getenv("NOTIFY_SOCKET") != nullptr) {
    std::uint64_t microseconds = 0;
    if (::sd_watchdog_enabled(0, &microseconds) > 0)
        m_feedInterval = std::chrono::microseconds(microseconds) / feedsInWatchdogTime;
}

void ServiceManager::ready() {
    if (!std::exchange(m_ready, true)) notify("READY=1");
}

void ServiceManager::tellStatus(const std::string& sentence) {
    if (std::exchange(m_status, sentence) != sentence) notify("STATUS=" + sentence);
}

void ServiceManager::loopTurned(Clock::time_point now) {
    if (m_feedInterval == m_feedInterval.zero() || now < m_nextFeed) return;
    m_nextFeed = now + m_feedInterval;
    notify("WATCHDOG=1");
}

ServiceManager::Clock::duration ServiceManager::longestWait(Clock::duration wanted) const {
    return m_feedInterval == m_feedInterval.zero() ? wanted : std::min(wanted, m_feedInterval);
}

void ServiceManager::stopping() { notify("STOPPING=1"); }

}  // namespace cvhost::run
