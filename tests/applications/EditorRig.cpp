#include "tests/applications/EditorRig.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "tests/applications/Waiting.h"

namespace applications_test {
namespace {

using apps_test::Json;
namespace fs = std::filesystem;

/// Copies the project beside a film of its own name for it.
fs::path copied(const std::string& project, const fs::path& folder) {
    const char* film = std::getenv("APPLICATIONS_FILM");
    if (film == nullptr) throw std::runtime_error("this program is run by ./dev test-apps");
    fs::create_symlink(film, folder / "film.mp4");
    fs::copy_file(fs::path(PROJECTS) / project, folder / project);
    return folder / project;
}

/// Programs keep what they remember in a home of the test's own.
Process::Setup setupOf(const std::string& program, const fs::path& project) {
    const fs::path home = project.parent_path() / "home";
    fs::create_directories(home);
    return {.command = {"/usr/bin/env", program, project},
            .environment = {{"HOME", home},
                            {"XDG_CONFIG_HOME", home / "config"},
                            {"XDG_DATA_HOME", home / "data"},
                            {"XDG_CACHE_HOME", home / "cache"}}};
}

}  // namespace

EditorTest::EditorTest(const Editor& editor)
    : m_editor(editor),
      m_project(copied(editor.project, m_folder.path())),
      m_program(setupOf(editor.program, m_project)),
      m_watcher({.command = {"/usr/bin/python3", WATCHER, std::to_string(m_program.id()), editor.dock}}) {}

void EditorTest::SetUp() {
    m_watcher.waitForLine([](const std::string&) { return true; });
    // A program that shows itself may not take keys yet.
    ASSERT_TRUE(becomes([&] {
        type(m_editor.toLastFrame);
        return restingFrame() == m_editor.lastFrame;
    })) << said();
    ASSERT_TRUE(becomes([&] {
        type(m_editor.toFirstFrame);
        return restingFrame() == 0;
    })) << said();
    Process::Setup setup =
        cvhost({"--events", "json", "--wire", "--port", m_desk.name(), "--map", MAPS "/" + m_editor.program + ".toml"});
    setup.environment["LD_PRELOAD"] = VIRTUAL_KEYBOARD;
    m_host.emplace(setup);
    waitUntilStarted(*m_host);
    tap('\\');
    waitFor(*m_host, {{"event", "handler"}, {"code", 28}});
}

void EditorTest::TearDown() {
    if (!m_host) return;
    if (HasFailure()) printLast(*m_host);
    m_host->signal(SIGINT);  // which releases the keys that are down
    EXPECT_EQ(m_host->wait(), 0);
}

std::string EditorTest::said() {
    const auto lines = m_watcher.lines();
    return lines.empty() ? "{}" : lines.back();
}

int EditorTest::frame() {
    const Json last = Json::parse(said());
    return last.value("still", last.value("frame", -1));
}

int EditorTest::restingFrame() {
    EXPECT_TRUE(becomes([&] { return Json::parse(said()).contains("still"); })) << said();
    return frame();
}

testing::AssertionResult EditorTest::rests(int frame) {
    const Json wanted{{"still", frame}};
    if (becomes([&] { return Json::parse(said()) == wanted; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it should rest at " << frame << ", but " << said() << m_program.errors();
}

testing::AssertionResult EditorTest::runsBeyond(int from) {
    if (becomes([&] { return frame() > from; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it should run beyond " << from << ", but " << said();
}

testing::AssertionResult EditorTest::runsBelow(int from) {
    if (becomes([&] { return frame() < from; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it should run below " << from << ", but " << said();
}

void EditorTest::expectJog(int counts) {
    const int before = restingFrame();
    jog(static_cast<std::int8_t>(counts));
    EXPECT_TRUE(rests(before + counts));
}

void EditorTest::expectTap(char key, int frame) {
    tap(key);
    EXPECT_TRUE(rests(frame));
}

void EditorTest::expectShuttle() {
    constexpr int centre = 127;
    constexpr int way = 20;
    for (const int position : {170, 80, 200, 55, 225, 30, 250, 5}) {
        const int from = restingFrame();
        ring(static_cast<unsigned char>(position));
        EXPECT_TRUE(position > centre ? runsBeyond(from + way) : runsBelow(from - way)) << position;
        ring(centre);
        EXPECT_GE(restingFrame(), 0);
    }
}

void EditorTest::type(const std::string& shortcut) {
    Process xdotool({.command = {"/usr/bin/env", "xdotool", "key", shortcut}});
    EXPECT_EQ(xdotool.wait(), 0) << xdotool.errors();
}

testing::AssertionResult EditorTest::saves(const std::function<bool(const std::string&)>& wanted) {
    const bool saved = becomes([&] {
        type("ctrl+s");
        for (int attempt = 0; attempt < 100; ++attempt) {
            if (wanted(contentOf(m_project))) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    });
    return saved ? testing::AssertionSuccess() : testing::AssertionFailure() << contentOf(m_project);
}

testing::AssertionResult EditorTest::savesClips(int count) {
    return saves([&](const std::string& project) {
        int clips = 0;
        const std::string begin = "<entry producer=\"producer";
        for (std::size_t at = 0; (at = project.find(begin, at)) != project.npos; ++at) ++clips;
        return clips == count;
    });
}

}  // namespace applications_test
