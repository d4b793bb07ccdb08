// The checks' names, and the document that has an entry for each.
#include <gmock/gmock.h>

#include <array>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "apps/cvhost/doctor/Checks.h"

namespace cvhost {
namespace {

TEST(CheckNames, Document_HasAnEntryForEachAndNoOther) {
    std::set<std::string> documented;
    std::ifstream in(TROUBLESHOOTING);
    for (std::string line; std::getline(in, line);) {
        if (!line.starts_with("### ")) continue;
        EXPECT_TRUE(documented.insert(line.substr(4)).second) << line << " comes twice";
    }
    EXPECT_EQ(documented, std::set<std::string>(doctor::checkNames.begin(), doctor::checkNames.end()));
}

TEST(CheckNames, ManualPage_HasAnEntryForEachAndNoOther) {
    std::vector<std::string> entries;
    bool inFindings = false;
    std::ifstream in(MANUAL);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("# ")) inFindings = line == "# FINDINGS";
        if (inFindings && line.starts_with('*')) entries.push_back(line);
    }
    std::vector<std::string> wanted;
    for (const std::string_view name : doctor::checkNames) wanted.push_back('*' + std::string(name) + '*');
    EXPECT_THAT(entries, testing::UnorderedElementsAreArray(wanted));
}

TEST(CheckNames, Id_NamesItsOwn) {
    EXPECT_EQ(nameOf(doctor::CheckId::driverLoad), "driver-load");
    EXPECT_EQ(nameOf(doctor::CheckId::modemLines), "modem-lines");
    EXPECT_EQ(nameOf(doctor::CheckId::versionOld), "version-old");
    EXPECT_EQ(nameOf(doctor::CheckId::settingInvalid), "setting-invalid");
    EXPECT_EQ(nameOf(doctor::CheckId::portName), "port-name");
    EXPECT_EQ(nameOf(doctor::CheckId::lineSilent), "line-silent");
    EXPECT_EQ(nameOf(doctor::CheckId::interrupted), "interrupted");
}

TEST(Checks, Worst_OfSome_IsTheHighest) {
    EXPECT_EQ(doctor::worst({}), doctor::Check::Result::pass);
    const std::array<doctor::Check, 1> skipped{doctor::Check{doctor::CheckId::keyTest, doctor::Check::Result::skip, ""}};
    EXPECT_EQ(doctor::worst(skipped), doctor::Check::Result::pass);
    const std::array<doctor::Check, 2> warned{
        doctor::Check{doctor::CheckId::brltty, doctor::Check::Result::warn, ""},
        doctor::Check{doctor::CheckId::consoleActive, doctor::Check::Result::pass, ""}};
    EXPECT_EQ(doctor::worst(warned), doctor::Check::Result::warn);
}

TEST(Checks, Text_WithControlCharacters_ShowsThemAsText) {
    const doctor::Check check{doctor::CheckId::lineNoise, doctor::Check::Result::fail, "a\x1b[2Jb", "c\nd"};
    EXPECT_EQ(doctor::checkText(check, false), "FAIL  line-noise           a\\x1b[2Jb\n      -> c\\nd\n");
    EXPECT_THAT(doctor::checkText(check, true), testing::StartsWith("\x1b[31mFAIL\x1b[0m  line-noise"));
}

TEST(Checks, Json_WithBytesThatAreNoUtf8_IsStillJson) {
    const std::array<doctor::Check, 1> checks{
        doctor::Check{doctor::CheckId::lineNoise, doctor::Check::Result::fail, "\xff", ""}};
    EXPECT_THAT(doctor::checksJson("\xfe", checks), testing::HasSubstr("\"result\": \"fail\""));
}

}  // namespace
}  // namespace cvhost
