// explore itself: it passes, it repeats, and it finds what is broken on purpose.
#include <gtest/gtest.h>

#include <string>

#include "tests/explore/Ran.h"

namespace {

Ran explore(const std::string& arguments) { return ran(EXPLORE " " + arguments + " 2>/dev/null"); }

/// What follows `start` up to the end of its line; empty when there is none.
std::string after(const std::string& text, const std::string& start) {
    const std::size_t place = text.find(start);
    if (place == std::string::npos) return {};
    const std::size_t begin = place + start.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

class Canary : public testing::TestWithParam<const char*> {};

}  // namespace

TEST(Explore, EveryFault_Passes) {
    const Ran ran = explore("--seeds 400");
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_TRUE(ran.output.ends_with("explore: 400 passed, 0 failed\n")) << ran.output;
}

TEST(Explore, TenThousandSeeds_ReachEverySituation) {
    const Ran ran = explore("--seeds 10000");
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_EQ(ran.output.find("       0 sessions: "), std::string::npos) << ran.output;
    EXPECT_NE(ran.output.find(" sessions: the version at the sixth request\n"), std::string::npos) << ran.output;
}

TEST(Explore, SituationNeverReached_Fails) {
    // Without faults no port is lost and no queue is full, and the sessions themselves are well.
    const Ran ran = explore("--seeds 100 --faults none --situations");
    EXPECT_EQ(ran.status, 1) << ran.output;
    EXPECT_NE(ran.output.find("       0 sessions: the key queue is full\n"), std::string::npos) << ran.output;
    EXPECT_NE(ran.output.find(" situations were never reached\nexplore: 100 passed, "), std::string::npos) << ran.output;
    EXPECT_EQ(explore("--seeds 100 --faults none").status, 0) << "few seeds need not reach all";
}

TEST(Explore, SameSeeds_SameDigest) {
    const std::string digest = after(explore("--seeds 40 --seed 500").output, "digest ");
    EXPECT_EQ(digest.size(), 16u);
    EXPECT_EQ(after(explore("--seeds 40 --seed 500").output, "digest "), digest);
    EXPECT_NE(after(explore("--seeds 40 --seed 501").output, "digest "), digest);
}

TEST(Explore, SingleSeed_GoesAsItDoesAmongOthers) {
    const auto digest = [](const std::string& seeds) {
        return std::stoull(after(explore("--faults none " + seeds).output, "digest "), nullptr, 16);
    };
    EXPECT_EQ(digest("--seeds 2 --seed 510"), digest("--seed 510") + digest("--seed 511"));
}

TEST(Explore, Transcript_TellsTheSession) {
    const Ran ran = explore("--faults none --seed 3 --transcript");
    EXPECT_EQ(ran.status, 0);
    EXPECT_NE(ran.output.find("comms_port_open(\"/dev/ttyUSB0\", 9600, 8, 'N', 1)"), std::string::npos) << ran.output;
}

TEST(Explore, UnknownWords_UsageError) {
    for (const char* words : {"--faults tea", "--seeds many", "--seed", "--canary robin", "10"}) {
        EXPECT_EQ(explore(words).status, 2) << words;
    }
}

TEST_P(Canary, Planted_IsFoundAndRepeats) {
    const Ran ran = explore(std::string("--seeds 400 --canary ") + GetParam());
    EXPECT_EQ(ran.status, 1) << ran.output;
    const std::string repeat = after(ran.output, "repeat: ./dev explore ");
    ASSERT_NE(repeat, "") << ran.output;
    const Ran again = explore(repeat);
    EXPECT_EQ(again.status, 1) << again.output;
    EXPECT_EQ(after(again.output, "repeat: ./dev explore "), repeat);
}

INSTANTIATE_TEST_SUITE_P(All, Canary,
                         testing::Values("lost-key", "invented-key", "lost-release", "long-packet", "lost-lamp",
                                         "lamp-on-after-exit", "chatter", "leak", "hang", "crash"),
                         [](const auto& name) {
                             std::string text = name.param;
                             std::erase(text, '-');
                             return text;
                         });
