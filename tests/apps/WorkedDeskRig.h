// A simulated console whose hands the test moves, for a cvhost in another process.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "lines/DeskServer.h"
#include "lines/Rfc2217Server.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {

class WorkedDeskTest : public CvhostTest {
protected:
    static void waitUntilStarted(Process& host) {
        waitForAll(host, {{{"event", "active"}}, {{"event", "wire"}, {"dir", "tx"}, {"bytes", "X "}}});
    }
    void press(char key) {
        m_desk.operate([=](desk::Desk& desk, desk::Time now) { desk.press(key, now); });
    }
    void release(char key) {
        m_desk.operate([=](desk::Desk& desk, desk::Time now) { desk.release(key, now); });
    }
    void tap(char key) {
        m_desk.operate([=](desk::Desk& desk, desk::Time now) { desk.tap(key, now); });
    }
    void jog(std::int8_t counts, std::int16_t fine = 0) {
        m_desk.operate([=](desk::Desk& desk, desk::Time now) { desk.jog(counts, fine, now); });
    }
    void ring(unsigned char position) {
        m_desk.operate([=](desk::Desk& desk, desk::Time now) { desk.shuttle(position, now); });
    }
    /// Waits until lamps 3, 2 and 1 are so: reverse, stop, forward.
    bool lit(const std::string& lamps) {
        return becomes(m_desk, [&](const desk::Desk& desk) {
            return desk.lamp(3) == lamps[0] && desk.lamp(2) == lamps[1] && desk.lamp(1) == lamps[2];
        });
    }

    lines::DeskServer m_desk{desk::Options{}, std::make_unique<lines::Rfc2217Server>()};
};

}  // namespace apps_test
