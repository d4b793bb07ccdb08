// Who acts on a key, the ring and the wheel.
#include "apps/cvhost/run/Handlers.h"

#include <gtest/gtest.h>

#include "apps/cvhost/transport/ClipDeck.h"
#include "tests/support/ValueConsole.h"

namespace {

using cvhost::run::Handlers;

constexpr int ring = 0;
constexpr int playKey = 11;

class ClaimedRing : public testing::Test {
protected:
    void turnRing(int speed) {
        m_console.speed = speed;
        m_handlers.execute(ring);
    }
    int speed() { return m_transport.advance(m_console).state.speed; }

    ValueConsole m_console;
    cvhost::transport::ClipDeck m_deck{{}, [] { return cvhost::transport::Time{}; }};
    cvhost::transport::ConsoleTransport m_transport{m_deck};
    cvhost::run::RunMonitor m_monitor{{}, [] {}};
    Handlers m_handlers{m_console, m_transport, m_monitor, false};
};

TEST_F(ClaimedRing, OutsideItsCentre_EndsWhatItHasStarted) {
    turnRing(3072);
    EXPECT_EQ(speed(), 3072);
    m_handlers.setClaimed(1U << ring);
    EXPECT_EQ(speed(), 0);
    turnRing(5120);
    EXPECT_EQ(speed(), 0);
    m_handlers.setClaimed({});
    turnRing(2048);
    EXPECT_EQ(speed(), 2048);
}

TEST_F(ClaimedRing, AtItsCentre_LeavesWhatAKeyHasStarted) {
    m_handlers.execute(playKey);
    m_handlers.setClaimed(1U << ring);
    EXPECT_EQ(speed(), 1024);
}

TEST_F(ClaimedRing, OutsideItsCentre_LeavesWhatAKeyHasStartedSince) {
    turnRing(3072);
    m_handlers.execute(playKey);
    m_handlers.setClaimed(1U << ring);
    EXPECT_EQ(speed(), 1024);
    m_handlers.setClaimed({});
    turnRing(3072);
    EXPECT_EQ(speed(), 3072) << "it counted as back at its centre";
}

}  // namespace
