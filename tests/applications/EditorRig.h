// An editing program with a film of 1500 frames in its timeline, worked by a console through a map of the package.
//
// The program runs under the X server of `./dev test-apps`; it says where its playhead is, and saves its project.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "tests/apps/WorkedDeskRig.h"

namespace applications_test {

using apps_test::Process;

constexpr int second = 25;  ///< of the film, in frames

class EditorTest : public apps_test::WorkedDeskTest {
protected:
    struct Editor {
        std::string program;       ///< and its map
        std::string project;       ///< in tests/applications
        std::string dock;          ///< that holds the playhead's timecode; empty: the whole window
        std::string toFirstFrame;  ///< its shortcut, as xdotool writes it
        std::string toLastFrame;
        int lastFrame;
    };
    explicit EditorTest(const Editor& editor);

    /// Waits until the program takes keys, and has the console work it, the wheel on.
    void SetUp() override;
    /// Ends cvhost. After a failure, prints what it has reported last.
    void TearDown() override;

    /// Where the playhead is.
    int frame();
    /// Waits until the playhead rests, and returns where.
    int restingFrame();
    testing::AssertionResult rests(int frame);
    testing::AssertionResult runsBeyond(int from);
    testing::AssertionResult runsBelow(int from);
    /// Turns the wheel, and expects the playhead to rest so many frames further on.
    void expectJog(int counts);
    void expectTap(char key, int frame);
    /// Turns the ring into each zone on both sides: the playhead runs, and rests when the ring springs back.
    void expectShuttle();
    /// Types at another keyboard.
    static void type(const std::string& shortcut);
    /// Has the program save its project until it is as wanted.
    testing::AssertionResult saves(const std::function<bool(const std::string& project)>& wanted);
    testing::AssertionResult savesClips(int count);

private:
    /// What the watcher has printed last.
    std::string said();

    const Editor m_editor;
    const std::filesystem::path m_project;
    Process m_program;
    Process m_watcher;
    std::optional<Process> m_host;
};

}  // namespace applications_test
