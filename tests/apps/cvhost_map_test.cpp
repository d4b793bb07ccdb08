// Maps: those of the package, the page about them, and what is reported of wrong ones.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

class MapCommand : public CvhostTest {
protected:
    /// `cvhost map` with these words.
    Process::Setup map(const Arguments& words) const {
        Process::Setup setup = cvhost({});
        setup.command = {CVHOST_PROGRAM, "map"};
        setup.command.insert(setup.command.end(), words.begin(), words.end());
        return setup;
    }
    const std::string m_broken = m_folder.write("broken.toml", "target = \"keys\"\n[keys]\nplay = \"spcae\"\nstp = \"k\"\n");
};

/// The blocks headed "toml" of a page.
std::vector<std::string> examplesOf(const std::string& path) {
    std::ifstream page(path);
    std::vector<std::string> examples;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line == "```toml") examples.emplace_back();
        if (inside && line == "```") inside = false;
        if (inside) examples.back() += line + '\n';
        if (line == "```toml") inside = true;
    }
    return examples;
}

}  // namespace

TEST_F(MapCommand, Check_EachMapOfThePackage_HasNoMistakesAndIsListed) {
    Process list(map({"list"}));
    ASSERT_EQ(list.wait(), 0) << list.errors();
    std::size_t maps = 0;
    for (const auto& entry : std::filesystem::directory_iterator(MAPS)) {
        Process check(map({"check", entry.path()}));
        EXPECT_EQ(check.wait(), 0) << check.errors();
        Process show(map({"show", entry.path().stem()}));
        EXPECT_EQ(show.wait(), 0) << show.errors();
        EXPECT_THAT(list.lines(), Contains(StartsWith(entry.path().stem().string() + ' ')));
        ++maps;
    }
    EXPECT_GE(maps, 7U);
}

TEST_F(MapCommand, Show_OscMap_NamesWhatItReportsAndTheRingsCentre) {
    Process show(map({"show", "ardour"}));
    EXPECT_EQ(show.wait(), 0) << show.errors();
    const auto has = [&](const std::string& beginning, const std::string& rest) {
        return std::ranges::any_of(show.lines(), [&](const std::string& line) {
            return line.starts_with("  " + beginning) && line.find(rest) != line.npos;
        });
    };
    EXPECT_TRUE(has("ring centre", "/transport_stop"));
    EXPECT_TRUE(has("asks by", "/set_surface"));
    EXPECT_TRUE(has("lamp of ", "/"));
}

TEST_F(MapCommand, Check_ExamplesOfThePage_HaveNoMistakes) {
    const auto examples = examplesOf(MAPS_PAGE);
    EXPECT_THAT(examples, SizeIs(4));
    for (const std::string& example : examples) {
        Process check(map({"check", m_folder.write("example.toml", example)}));
        EXPECT_EQ(check.wait(), 0) << check.errors();
    }
}

TEST_F(MapCommand, Check_BrokenMap_ReportsAllWithLineAndColumn) {
    Process check(map({"check", m_broken}));
    EXPECT_EQ(check.wait(), 1);
    EXPECT_EQ(check.errors(), m_broken + ":3:8: there is no key \"spcae\" (did you mean \"space\"?)\n" + m_broken +
                                  ":4:1: the desk has no key \"stp\" (did you mean \"stop\"?)\n");
}

TEST_F(MapCommand, Check_NoSuchMap_NamesTheSimilarOne) {
    Process check(map({"check", "shotcat"}));
    EXPECT_EQ(check.wait(), 1);
    EXPECT_THAT(check.errors(), HasSubstr("there is no map \"shotcat\" (did you mean \"shotcut\"?)"));
    Process file(map({"check", "./none"}));
    EXPECT_EQ(file.wait(), 1);
    EXPECT_THAT(file.errors(), HasSubstr("cannot read ./none: No such file or directory"));
}

TEST_F(MapCommand, Check_PipeOrFolder_IsRefusedAtOnce) {
    Process check(map({"check", m_folder.path()}));
    EXPECT_EQ(check.wait(), 1);
    EXPECT_THAT(check.errors(), HasSubstr("Is a directory"));
}

TEST_F(MapCommand, List_OwnMap_ComesBeforeThePackages) {
    std::filesystem::create_directories(m_folder.path() / "cvhost/maps");
    std::ofstream(m_folder.path() / "cvhost/maps/jkl.toml") << "title = \"mine\"\ntarget = \"keys\"\n";
    Process::Setup setup = map({"list"});
    setup.environment["XDG_CONFIG_HOME"] = m_folder.path();
    Process list(setup);
    EXPECT_EQ(list.wait(), 0);
    EXPECT_THAT(list.lines(), Contains(testing::AllOf(StartsWith("jkl "), HasSubstr("mine"))));
}

TEST_F(MapCommand, Try_Key_ShowsItsStrokesInEachLayer) {
    const std::string path = m_folder.write(
        "m.toml",
        "target = \"keys\"\n[keys]\nE = \"ctrl+z\"\n[layer.other]\nheld = \"G\"\nkeys = { E = { tap = \"x\" } }\n");
    Process tried(map({"try", path, "E"}));
    EXPECT_EQ(tried.wait(), 0) << tried.errors();
    EXPECT_THAT(tried.lines(), ElementsAre("E", "  pressed:  ctrl down, z down", "  released: z up, ctrl up",
                                           "E in the layer other", "  pressed:  x down, x up"));
    Process unknown(map({"try", path, "pley"}));
    EXPECT_EQ(unknown.wait(), 2);
    EXPECT_THAT(unknown.errors(), HasSubstr("(did you mean \"play\"?)"));
}

TEST_F(MapCommand, Usage_NoOrUnknownSubcommand_NamesThem) {
    for (const Arguments& words : {Arguments{}, Arguments{"lst"}}) {
        Process wrong(map(words));
        EXPECT_EQ(wrong.wait(), 2);
        EXPECT_THAT(wrong.errors(), HasSubstr("a subcommand is required: list, show, check, try"));
    }
}

TEST_F(MapCommand, Run_BrokenMap_EndsWithItsMistake) {
    Process host(cvhost({"--desk", "--map", m_broken}));
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr(m_broken + ":3:8: "));
}

}  // namespace apps_test
