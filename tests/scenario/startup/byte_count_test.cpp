// The one count of received bytes goes on through reads, resets, modes and restarts. Nothing here sets it or looks at it:
// what shows is when a reply counts as complete, and which packet is lost.
#include <algorithm>

#include "tests/scenario/startup/StartupTest.h"

namespace startup {
namespace {

class ByteCountTest : public DialogueTest {
protected:
    ~ByteCountTest() override { m_pgmName = {}; }

    /// Bytes that nobody asked for, counted and left in the port.
    void noise(int count) {
        rig.peer_sends(std::string(static_cast<std::size_t>(count), '#'));
        rig.run_for(50ms);
    }
    /// How long a wait that begins now takes.
    Time waitOf(unsigned length) {
        char buffer[64] = {};
        const Time begin = rig.now();
        console.ReadString(buffer, length);
        return rig.now() - begin;
    }
    std::ptrdiff_t requests() const {
        const Texts writes = rig.writes();
        return std::count(writes.begin(), writes.end(), "? ");
    }
    void monitor(const std::string& identity) {
        rig.peer().answerReset(std::string(prompt), 20ms);
        echoes("H ");
        replies(identity);
    }
};

class NoiseTest : public ByteCountTest, public testing::WithParamInterface<int> {};

TEST_P(NoiseTest, ReadString_NoiseBefore_CountsTowardsTheReply) {
    noise(GetParam());
    rig.peer_sends("0123456789");
    const int missing = std::max(1, 8 - GetParam());
    EXPECT_EQ(waitOf(8), onTheLine(missing));
}

TEST_P(NoiseTest, PortActive_NoiseBeforeTheReset_FirstPromptIsCutShort) {
    monitor("\r\nV4 Corvane EPROM 1.0\r\nEPROM>");
    noise(GetParam());
    const Time begin = rig.now();
    const bool found = console.PortActive();
    const int missing = std::max(1, 8 - GetParam());
    EXPECT_EQ(rig.times(Kind::call, "signal()").front() - begin, 200ms + 20ms + onTheLine(missing));
    // What the first prompt leaves behind is counted, too, so the second is cut at the same place.
    EXPECT_EQ(found, GetParam() == 0);
    EXPECT_EQ(rig.times(Kind::rts, "0").size(), GetParam() == 0 ? 1u : 2u);
}

TEST_P(NoiseTest, OpenDriver_NoiseBehindTheJump_FirstVersionIsLost) {
    // No monitor answers, and noise arrives instead of the jump's echo.
    rig.peer().answer("J 0100 0", std::string(static_cast<std::size_t>(GetParam()), '#'));
    rig.peer().answer("? ", "V007 ");
    EXPECT_TRUE(console.open_driver());
    // Behind none, or as many as were expected, the version is understood at once.
    EXPECT_EQ(requests(), GetParam() % 8 == 0 ? 1 : 2);
}

INSTANTIATE_TEST_SUITE_P(Bytes, NoiseTest, testing::Values(0, 1, 3, 7, 8));

TEST_F(ByteCountTest, ReadString_ShortReply_ItsBytesCountTowardsTheNext) {
    rig.peer_sends("abc");
    EXPECT_EQ(waitOf(8), 100ms);
    rig.peer_sends("0123456789");
    EXPECT_EQ(waitOf(8), onTheLine(5));
    rig.run_for(50ms);
    // Five came behind the signal.
    rig.peer_sends("0123456789");
    EXPECT_EQ(waitOf(8), onTheLine(3));
}

TEST_F(ByteCountTest, RunProgram_IdentificationShort_ItsEchoIsCut) {
    monitor("\r\nV4\r\nEPROM>");  // 12 characters, of 30
    echoes("J 0100 0");
    ASSERT_TRUE(console.PortActive());
    rig.forget();
    const Time begin = rig.now();
    EXPECT_FALSE(console.RunProgram());
    EXPECT_EQ(rig.times(Kind::call, "signal()").front() - begin, onTheLine(8) + onTheLine(1)) << "at the echo's first byte";
}

TEST_F(ByteCountTest, Purge_BytesCounted_StayCounted) {
    noise(5);
    Purge(ConsoleTestAccess::port(console));
    rig.peer_sends("0123456789");
    EXPECT_EQ(waitOf(8), onTheLine(3));
}

TEST_F(ByteCountTest, Reset_SignalAndBytes_AreGoneAndTheCountIsNot) {
    noise(5);
    ConsoleTestAccess::rxEvent(console)->signal();
    rig.peer().answerReset("\r\nEPROM>", 20ms);
    const Time begin = rig.now();
    EXPECT_FALSE(console.PortActive());
    EXPECT_EQ(rig.times(Kind::call, "signal()")[1] - begin, 200ms + 20ms + onTheLine(3)) << "the test's own is the first";
}

TEST_F(ByteCountTest, Noise_WithinAReply_PushesItsEndIntoTheNext) {
    rig.peer_sends("\r\nEP###ROM>");
    EXPECT_FALSE(console.GetConsolePrompt());
    rig.run_for(50ms);
    rig.peer_sends(prompt);
    EXPECT_FALSE(console.GetConsolePrompt());
    EXPECT_EQ(rig.times(Kind::call, "signal()").size(), 2u);
}

TEST(ByteCountOfASession, Start_HalfAPacketBeforeExit_NeedsASecondReset) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.desk.sends("pq");  // and no blank
    rig.run_for(1s);
    rig.console().exit();
    rig.run_for(1s);
    rig.forget();
    ASSERT_TRUE(rig.start());
    EXPECT_TRUE(rig.console().active());
    EXPECT_EQ(rig.times(Kind::rts, "0").size(), 2u) << "the first prompt is read two bytes too soon";
}

TEST(ByteCountOfASession, Start_WholePacketsBeforeExit_FindsThePromptAtOnce) {
    Rig rig;
    ASSERT_TRUE(rig.start());
    rig.desk.taps('E');
    rig.run_for(1s);
    rig.console().exit();
    rig.run_for(1s);
    rig.forget();
    ASSERT_TRUE(rig.start());
    EXPECT_EQ(rig.times(Kind::rts, "0").size(), 1u);
}

}  // namespace
}  // namespace startup
