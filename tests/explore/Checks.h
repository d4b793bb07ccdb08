// What must be true of a session, whatever its seed: checked while it runs and when it is over.
//
// Threads: the session's world.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "console/Console.h"
#include "desk/Desk.h"
#include "host/sim/Recording.h"
#include "host/sim/Serial.h"
#include "tests/explore/Plan.h"

namespace explore {

class Checks {
public:
    Checks(const Plan& plan, const sim::Recording& recording) : m_plan(plan), m_recording(recording) {}

    /// Every failure so far, at most `failureLimit`.
    const std::vector<std::string>& failures() const { return m_failures; }
    void fail(std::string what);
    /// Fails with `what` unless `holds`.
    void require(bool holds, const char* what) {
        if (!holds) fail(what);
    }

    // While it runs.

    /// The console has just been made.
    void begin(const Cv::Console& console);
    void watch(const sim::Entry& entry, Cv::Console* console);
    /// Around the decoder: `decode` takes the packet.
    template <class Decode>
    void packet(Cv::Console& console, const char* text, int length, Decode decode) {
        beforePacket(console, text, length);
        const bool taken = m_releaseExpected;
        const int code = m_releasedCode;
        ++m_beingDecoded;
        decode();
        --m_beingDecoded;
        if (taken) require(!console.key_is_down(code), "a release left its key marked as held");
        afterPacket(console);
    }
    unsigned packets() const { return m_packets; }

    // What the session knows and the driver does not.

    void pressed(char key) { m_pressed.push_back(key); }
    void disabled() { m_everDisabled = true; }
    /// init() without exit() before: the console stays active through its own restart, and what the boot monitor echoes may
    /// pass for keys, and what the host sends may get into the dialogue.
    void restartedWhileActive() { m_restartedWhileActive = true; }

    // At its end.

    /// Everything sent has arrived, every key is released, nobody sends.
    void atRest(Cv::Console& console, const desk::Desk& desk);
    /// exit() has just returned on a host thread.
    void exited() {
        require(m_beingDecoded == 0, "a packet is still being decoded after exit()");
        m_exited = true;
    }
    /// What exit() sent has arrived.
    void afterExit(Cv::Console& console, const desk::Desk& desk, bool wasRunning, const sim::SerialLibrary& serial);
    void afterUnload(const sim::SerialLibrary& serial);
    unsigned keys() const;

private:
    static constexpr std::size_t failureLimit = 5;

    void beforePacket(Cv::Console& console, const char* text, int length);
    void afterPacket(Cv::Console& console);
    void keysInOrder();
    std::vector<int> expectedKeys() const;
    std::vector<int> arrivedKeys() const;

    const Plan& m_plan;
    const sim::Recording& m_recording;
    std::vector<std::string> m_failures;
    std::vector<char> m_pressed;
    bool m_everDisabled = false;
    bool m_restartedWhileActive = false;
    unsigned m_packets = 0;
    int m_beingDecoded = 0;
    std::string m_behindKeyDown;
    bool m_exited = false;
    bool m_releaseExpected = false;
    int m_releasedCode = 0;
};

}  // namespace explore
