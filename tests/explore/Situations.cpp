#include "tests/explore/Situations.h"

namespace explore {

using sim::Kind;

constexpr std::size_t longestPacket = 11;

void Situations::exit(Cv::Console& console) {
    m_exiting = true;
    console.exit();
    m_exiting = false;
}

void Situations::packet(std::string_view text, bool active) {
    reachIf(m_exiting, Situation::packetDuringExit);
    reachIf(text.starts_with('V') && active, Situation::versionWhileActive);
    reachIf(text.size() == longestPacket, Situation::packetOfElevenCharacters);
}

void Situations::watch(const sim::Entry& entry, bool active) {
    if (entry.thread == "ConsInit") return watchStartUp(entry);
    if (entry.kind == Kind::call && entry.text == "endThread()" && m_startUpRuns) {
        reachIf(m_lastOfStartUp.starts_with("wait("), Situation::exitDuringWait);
        reachIf(m_lastOfStartUp.starts_with("sleep("), Situation::exitDuringPause);
    }
    if (entry.kind == Kind::call && entry.text.starts_with("beginThread(")) {
        reachIf(m_startUpRuns, Situation::initDuringStartUp);
        reachIf(active && !m_startUpRuns, Situation::initWhileActive);
    }
    if (entry.kind == Kind::port && entry.text.starts_with("lost ")) {
        reachIf(m_startUpRuns, Situation::lostDuringStartUp);
        reachIf(active && !m_startUpRuns, Situation::lostWhileActive);
    }
    reachIf(entry.kind == Kind::log && entry.text.starts_with("The key queue is full"), Situation::keyQueueFull);
}

void Situations::watchStartUp(const sim::Entry& entry) {
    if (entry.kind == Kind::thread) {
        m_startUpRuns = entry.text == "started";
        reachIf(!m_startUpRuns && m_lastOfStartUp.starts_with("getPreference("), Situation::unwantedAgain);
        m_lastOfStartUp.clear();
        m_attempts = 0;
    }
    if (entry.kind == Kind::rts && entry.text == "0") {
        reachIf(m_requests == 6, Situation::noVersion);
        m_resets = m_requests == 0 ? m_resets + 1 : 1;
        m_requests = 0;
        reachIf(m_resets == 2, Situation::secondReset);
    }
    if (entry.kind == Kind::sent && entry.text == "? ") ++m_requests;
    if (entry.kind == Kind::sent && entry.text == "F2 ") {
        m_resets = 0;
        ++m_attempts;
    }
    reachIf(entry.kind == Kind::log && entry.text.starts_with("CON:   console_init: console version") && m_requests == 6,
            Situation::sixthRequest);
    // A wait that is over is no wait.
    if (entry.kind == Kind::result) m_lastOfStartUp = entry.text;
    if (entry.kind != Kind::call) return;
    reachIf(m_lastOfStartUp == "comms_geterr()" && !entry.text.starts_with("commsRegisterHandler"),
            Situation::portWithError);
    reachIf(entry.text == "sleep(1000)", Situation::portNotOpened);
    if (entry.text.starts_with("comms_port_open(")) {
        reachIf(m_attempts == 8, Situation::eightAttempts);
        m_attempts = m_resets = m_requests = 0;
    }
    m_lastOfStartUp = entry.text;
}

}  // namespace explore
