// explore_maps itself: it passes, and it finds what is broken on purpose.
#include <gtest/gtest.h>

#include <string>

#include "tests/explore/Ran.h"

namespace {

Ran explore(const std::string& arguments) { return ran(EXPLORE " " + arguments + " 2>&1"); }

class MapCanary : public testing::TestWithParam<const char*> {};

}  // namespace

TEST(ExploreMaps, EveryTrouble_Passes) {
    const Ran ran = explore("--seeds 300");
    EXPECT_EQ(ran.status, 0) << ran.output;
    EXPECT_EQ(ran.output, "explore: 300 passed, 0 failed\n");
}

TEST(ExploreMaps, UnknownWords_UsageError) {
    for (const char* words : {"--seeds many", "--seed", "--canary robin", "10", "--faults all"}) {
        EXPECT_EQ(explore(words).status, 2) << words;
    }
}

/// The seed's own run does the same again, but on threads of its own, so that it may find nothing.
TEST_P(MapCanary, Planted_IsFoundAndItsSeedRuns) {
    const Ran ran = explore(std::string("--seeds 200 --canary ") + GetParam());
    EXPECT_EQ(ran.status, 1) << ran.output;
    const std::string begin = "repeat: ./dev explore --maps ";
    const std::size_t place = ran.output.find(begin);
    ASSERT_NE(place, ran.output.npos) << ran.output;
    const std::size_t end = ran.output.find('\n', place);
    const Ran again = explore(ran.output.substr(place + begin.size(), end - place - begin.size()));
    EXPECT_TRUE(again.status == 0 || again.status == 1) << again.output;
    EXPECT_NE(again.output.find(again.status == 0 ? "explore: 1 passed, 0 failed" : "explore: 0 passed, 1 failed"),
              again.output.npos)
        << again.output;
}

INSTANTIATE_TEST_SUITE_P(All, MapCanary,
                         testing::Values("lost-press", "lost-release", "lost-unplug", "kept-on-release", "invented-press",
                                         "stuck-key", "swapped", "double-press", "deaf-after-change", "waits --patience 1"),
                         [](const auto& name) {
                             std::string text = name.param;
                             std::erase_if(text, [](char each) { return each == '-' || each == ' '; });
                             return text;
                         });
