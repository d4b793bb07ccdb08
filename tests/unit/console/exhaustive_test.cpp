// The driver on everything that can be enumerated. canary_test.cpp shows that each of these can fail.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "host/core/Settings.h"
#include "tests/unit/console/Decoding.h"
#include "tests/unit/console/Dialogue.h"
#include "tests/unit/console/Framing.h"
#include "tests/unit/console/TrialHost.h"

using namespace exhaustive;

static void readOnTwoThreads() {
    int speeds[2] = {};
    for (int& speed : speeds) {
        cvhost::settings().set("BeyondPlayMultiplier", &speed == speeds ? 2.0 : 1.0);
        std::thread([&speed] {
            Cv::Console console;
            char version[] = "V007";
            char status[] = "\\FF000000";
            console.corvane_console_parse_packet(version, 4);
            console.corvane_console_parse_packet(status, 9);
            speed = console.get_ispeed();
        }).join();
    }
    std::fprintf(stderr, "%d %d\n", speeds[0], speeds[1]);
    std::exit(0);
}

namespace {

void expectNone(const Result& result) {
    EXPECT_EQ(result.difference, "");
    EXPECT_GT(result.tried, 0u);
    testing::Test::RecordProperty("tried", std::to_string(result.tried));
    std::printf("%lu tried\n", result.tried);
}

}  // namespace

#ifdef EXHAUSTIVE_GUARDED
TEST(Framing, Buffer_OfTheDriver_IsBetweenGuards) { EXPECT_TRUE(bare::isGuarded()); }
#endif
TEST(Framing, PacketMode_EveryStateAndArrangement_FramesAsTheProtocolSays) { expectNone(checkPacketMode()); }
TEST(Framing, PacketMode_EveryByteInEveryPlace_IsOfAKnownClass) { expectNone(checkEveryByte()); }
TEST(Framing, PacketMode_HandlerCallsBack_StateIsSoundAfterwards) { expectNone(checkCallsBack()); }
TEST(Framing, MonitorMode_EveryCountAndExpectation_CountsAndLeavesTheBytes) { expectNone(checkMonitorMode()); }

class ShortPackets : public testing::TestWithParam<int> {};
TEST_P(ShortPackets, ParsePacket_UpToThreeOfAllBytes_DoWhatTheProtocolSays) { expectNone(checkShortPackets(GetParam())); }
INSTANTIATE_TEST_SUITE_P(Activities, ShortPackets, testing::Range(0, activities));

TEST(Decoding, ParsePacket_Tracing_LogsWhatItShould) { expectNone(checkTracedPackets()); }
TEST(Decoding, ParsePacket_KeysAroundHandlersAndQueue_DoWhatTheProtocolSays) { expectNone(checkKeys()); }
TEST(Decoding, ParsePacket_EveryVersion_DoesWhatTheProtocolSays) { expectNone(checkVersions()); }
TEST(Decoding, ParsePacket_EveryStatus_DoesWhatTheProtocolSays) { expectNone(checkStatus()); }
TEST(Decoding, ParsePacket_EveryCountAndFineCount_MovesAsTheProtocolSays) { expectNone(checkCountsAndFineCounts()); }
TEST(Decoding, ParsePacket_EveryForwarded_DoesWhatTheProtocolSays) { expectNone(checkForwarded()); }
TEST(Decoding, ParsePacket_HandlersCallBack_DoWhatTheProtocolSays) { expectNone(checkHandlersCallBack()); }

// On real threads, unlike the scenarios, whose threads take turns on one.
TEST(Multiplier, ParsePacket_OnTwoThreads_IsReadOnce) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(readOnTwoThreads(), testing::ExitedWithCode(0), "19914 19914");
}

TEST(Dialogue, ReadString_EveryLength_TakesWhatIsThereAndNoMore) { expectNone(checkReads()); }
TEST(Dialogue, GetConsolePrompt_EveryReply_AcceptsThePromptAlone) { expectNone(checkPrompts()); }
TEST(Dialogue, RunProgram_EveryReply_AcceptsTheLineEndAlone) { expectNone(checkJumps()); }
TEST(Dialogue, GetCrc_EveryReply_AcceptsTheRightFormAlone) { expectNone(checkCheckValues()); }
TEST(Dialogue, PortActive_EveryReply_EndsInTimeWithTheRightModel) { expectNone(checkIdentifications()); }
TEST(Dialogue, OpenDriver_EveryAnswerOrNone_EndsInTime) { expectNone(checkStarts()); }
