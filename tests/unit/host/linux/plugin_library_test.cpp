// Loading and unloading a plug-in library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "host/api/Files.h"
#include "host/core/Allocator.h"
#include "host/core/PluginManager.h"
#include "host/core/Settings.h"
#include "host/core/Text.h"
#include "host/linux/PluginLibrary.h"
#include "tests/unit/host/HostRig.h"

using cvhost::PluginLibrary;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

std::string besideThisProgram(const char* name) { return cvhost::narrow(getAppPath().view()) + name; }

}  // namespace

TEST(PluginLibrary, LoadAndUnload_RunTheHooksInOrder) {
    Recorder recorder;
    {
        PluginLibrary library;
        ASSERT_FALSE(library.load(besideThisProgram("fake_plugin.so")));
        EXPECT_EQ(library.plugin(), CvDeviceDriverManager::theDeviceDriverManager().plugin(0));
        EXPECT_EQ(library.plugin()->displayName().view(), "Fake");
        EXPECT_NE(library.console(), nullptr);
        EXPECT_FALSE(library.unload());
        EXPECT_EQ(library.plugin(), nullptr);
        EXPECT_EQ(library.console(), nullptr);
        EXPECT_FALSE(library.unload());
    }
    EXPECT_THAT(recorder.texts, ElementsAre("post-load\n", "post-enumeration\n", "pre-unload, exits: 1\n",
                                            "destroyed, consoles deleted: 1\n"));
    EXPECT_EQ(CvDeviceDriverManager::theDeviceDriverManager().plugin(0), nullptr);
}

TEST(PluginLibrary, Destroyed_Unloads) {
    Recorder recorder;
    {
        ASSERT_FALSE(PluginLibrary().load(besideThisProgram("fake_plugin.so")));
    }
    EXPECT_EQ(recorder.texts.back(), "destroyed, consoles deleted: 1\n");
}

TEST(PluginLibrary, LoadedTwice_IsRefusedAndTheFirstStays) {
    PluginLibrary library;
    ASSERT_FALSE(library.load(besideThisProgram("fake_plugin.so")));
    EXPECT_THAT(library.load(besideThisProgram("fake_plugin.so")).value().what, HasSubstr("loaded already"));
    EXPECT_NE(library.plugin(), nullptr);
}

TEST(PluginLibrary, HeldBySomebodyElse_IsSaidAtUnload) {
    PluginLibrary other;
    PluginLibrary library;
    ASSERT_FALSE(other.load(besideThisProgram("fake_plugin.so")));
    ASSERT_FALSE(library.load(besideThisProgram("fake_plugin.so")));
    EXPECT_THAT(library.unload().value().what, HasSubstr("stays in the process"));
}

TEST(PluginLibrary, NoFile_IsSaidPlainly) {
    PluginLibrary library;
    const auto failure = library.load("/no/such/plugin.so");
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->what, "there is no plug-in /no/such/plugin.so");
    EXPECT_EQ(failure->remedy, "build or install it there");
    EXPECT_EQ(library.plugin(), nullptr);
}

TEST(PluginLibrary, FileThatIsNoLibrary_IsSaidPlainly) {
    const Folder folder;
    folder.write("text.so", "no library\n");
    PluginLibrary library;
    EXPECT_THAT(library.load(folder.path("text.so")).value().what,
                AllOf(HasSubstr("cannot be loaded"), HasSubstr("text.so")));
}

TEST(PluginLibrary, LibraryWithoutAFactory_IsSaidPlainlyAndLetGo) {
    PluginLibrary library;
    EXPECT_THAT(library.load(besideThisProgram("no_plugin.so")).value().what, HasSubstr("exports no cvPluginInstance"));
    EXPECT_EQ(library.plugin(), nullptr);
    EXPECT_FALSE(library.load(besideThisProgram("fake_plugin.so")));
}

TEST(PluginLibrary, FactoryThatGivesNone_IsSaidPlainly) {
    cvhost::settings().setFromText("fake_gives_none", "1");
    PluginLibrary library;
    EXPECT_THAT(library.load(besideThisProgram("fake_plugin.so")).value().what, HasSubstr("its factory gives none"));
    cvhost::settings().clear();
}

TEST(PluginLibrary, TheDriverThreeTimes_LeavesNoMemoryBehind) {
    const cvhost::AllocatorCount before = cvhost::allocatorCount();
    for (int round = 0; round < 3; ++round) {
        PluginLibrary library;
        ASSERT_FALSE(library.load(besideThisProgram("CorvaneConsole.so")));
        EXPECT_EQ(library.plugin()->displayName().view(), "Console Driver");
        ASSERT_NE(library.console(), nullptr);
        EXPECT_FALSE(library.console()->active());
        EXPECT_GT(cvhost::allocatorCount().liveBlocks, before.liveBlocks);
        EXPECT_FALSE(library.unload());
        EXPECT_EQ(cvhost::allocatorCount().liveBlocks, before.liveBlocks);
    }
}

// The driver's statics are destroyed while the process ends, and the host is still there for them.
TEST(PluginLibraryDeathTest, ProcessEndsWithTheDriverLoaded_EndsInOrder) {
    EXPECT_EXIT(
        {
            PluginLibrary library;
            if (!library.load(besideThisProgram("CorvaneConsole.so"))) library.console()->init();
            std::exit(library.plugin() == nullptr ? 1 : 0);  // `library` is not destroyed
        },
        testing::ExitedWithCode(0), "");
}
