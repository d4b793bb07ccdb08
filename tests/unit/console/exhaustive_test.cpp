// The driver on everything that can be enumerated. canary_test.cpp shows that each of these can fail.
#include <gtest/gtest.h>

#include "tests/unit/console/BareHost.h"
#include "tests/unit/console/Decoding.h"
#include "tests/unit/console/Dialogue.h"
#include "tests/unit/console/Framing.h"

using namespace exhaustive;

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

TEST(Dialogue, ReadString_EveryLength_TakesWhatIsThereAndNoMore) { expectNone(checkReads()); }
TEST(Dialogue, GetConsolePrompt_EveryReply_AcceptsThePromptAlone) { expectNone(checkPrompts()); }
TEST(Dialogue, RunProgram_EveryReply_AcceptsTheLineEndAlone) { expectNone(checkJumps()); }
TEST(Dialogue, GetCrc_EveryReply_AcceptsTheRightFormAlone) { expectNone(checkCheckValues()); }
TEST(Dialogue, PortActive_EveryReply_EndsInTimeWithTheRightModel) { expectNone(checkIdentifications()); }
TEST(Dialogue, OpenDriver_EveryAnswerOrNone_EndsInTime) { expectNone(checkStarts()); }
