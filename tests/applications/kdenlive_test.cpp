// The map of the package works the real Kdenlive through the virtual keyboard's keys.
#include "tests/applications/EditorRig.h"
#include "tests/applications/Waiting.h"

namespace applications_test {
namespace {

constexpr int lastFrame = 1499;

class Kdenlive : public EditorTest {
protected:
    Kdenlive()
        : EditorTest({.program = "kdenlive",
                      .project = "film.kdenlive",
                      .dock = "Project Monitor",
                      .toFirstFrame = "ctrl+Home",
                      .toLastFrame = "ctrl+End",
                      .lastFrame = lastFrame}) {}
};

}  // namespace

TEST_F(Kdenlive, Wheel_Turned_MovesThePlayheadByAFrameForEachCount) {
    for (const int counts : {1, 10, -4, 8, -6, -1}) expectJog(counts);
    EXPECT_TRUE(becomes([&] {
        jog(60);
        return frame() >= 20 * second;
    }));
}

TEST_F(Kdenlive, Keys_Transport_MoveThePlayhead) {
    tap('K');
    EXPECT_TRUE(runsBeyond(second));
    tap('L');
    const int from = restingFrame();
    tap('M');
    EXPECT_TRUE(runsBelow(from));
    tap('L');
    EXPECT_LT(restingFrame(), from);
    expectTap('G', lastFrame);
    expectTap('H', 0);
}

TEST_F(Kdenlive, Ring_TurnedAndSprungBack_ShuttlesAndStops) { expectShuttle(); }

TEST_F(Kdenlive, Keys_Editing_ChangeTheProject) {
    EXPECT_TRUE(savesClips(2));  // in the bin and in the timeline
    expectJog(50);
    tap('C');
    EXPECT_TRUE(savesClips(3));
    expectTap('A', 0);
    expectTap('B', 50);
    tap('E');
    EXPECT_TRUE(savesClips(2));
    tap('F');
    EXPECT_TRUE(savesClips(3));
    type("plus");  // selects the clip at the playhead
    tap('D');
    EXPECT_TRUE(savesClips(2));
}

TEST_F(Kdenlive, Keys_MarkInAndOut_SetTheZone) {
    expectJog(10);
    tap('I');
    expectJog(50);
    tap('O');
    EXPECT_TRUE(saves([](const std::string& project) {
        return project.find("zonein\">10<") != project.npos && project.find("zoneout\">60<") != project.npos;
    }));
}

TEST(KdenliveMap, MapOfThePackage_EachShortcut_IsTriedHere) {
    EXPECT_EQ(wordsOfMap("kdenlive"),
              (std::set<std::string>{"alt+left", "alt+right", "ctrl+end", "ctrl+home", "ctrl+shift+z", "ctrl+z", "delete",
                                     "i", "j", "k", "l", "left", "o", "right", "shift+left", "shift+r", "shift+right"}));
}

}  // namespace applications_test
