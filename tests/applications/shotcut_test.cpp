// The map of the package works the real Shotcut through the virtual keyboard's keys.
#include "tests/applications/EditorRig.h"
#include "tests/applications/Waiting.h"

namespace applications_test {
namespace {

constexpr int end = 1500;

class Shotcut : public EditorTest {
protected:
    Shotcut()
        : EditorTest({.program = "shotcut",
                      .project = "film.mlt",
                      .dock = "",
                      .toFirstFrame = "Home",
                      .toLastFrame = "End",
                      .lastFrame = end}) {}
    /// Shotcut steps too slowly for many counts at once.
    void goOn(int seconds) {
        const int from = restingFrame();
        for (int done = 1; done <= seconds; ++done) {
            type("Page_Down");
            EXPECT_TRUE(rests(from + done * second));
        }
    }
};

}  // namespace

TEST_F(Shotcut, Wheel_TurnedSlowly_MovesThePlayheadByAFrameForEachCount) {
    for (const int counts : {1, 1, 1, -1, 1, -1}) expectJog(counts);
}

TEST_F(Shotcut, Keys_Transport_MoveThePlayhead) {
    tap('K');
    EXPECT_TRUE(runsBeyond(second));
    tap('L');
    const int from = restingFrame();
    tap('M');
    EXPECT_TRUE(runsBelow(from));
    tap('L');
    EXPECT_LT(restingFrame(), from);
    expectTap('G', end);
    expectTap('H', 0);
}

TEST_F(Shotcut, Ring_TurnedAndSprungBack_ShuttlesAndStops) { expectShuttle(); }

TEST_F(Shotcut, Keys_Editing_ChangeTheProject) {
    EXPECT_TRUE(savesClips(1));
    goOn(2);
    tap('C');
    EXPECT_TRUE(savesClips(2));
    expectTap('G', end);
    expectTap('A', 50);
    expectTap('A', 0);
    expectTap('B', 50);
    tap('E');
    EXPECT_TRUE(savesClips(1));
    tap('F');
    EXPECT_TRUE(savesClips(2));
}

TEST_F(Shotcut, Keys_MarkInAndOut_TrimTheClip) {
    goOn(2);
    tap('I');
    EXPECT_TRUE(
        saves([](const std::string& project) { return project.find("<blank length=\"00:00:02.000\"/>") != project.npos; }));
    goOn(4);
    tap('O');
    EXPECT_TRUE(saves([](const std::string& project) {
        return project.find("<entry producer=\"producer0\" in=\"00:00:02.000\" out=\"00:00:05.960\"/>") != project.npos;
    }));
}

TEST(ShotcutMap, MapOfThePackage_EachShortcut_IsTriedHere) {
    EXPECT_EQ(wordsOfMap("shotcut"), (std::set<std::string>{"alt+left", "alt+right", "ctrl+shift+z", "ctrl+z", "end", "home",
                                                            "i", "j", "k", "l", "left", "o", "right", "s"}));
}

}  // namespace applications_test
