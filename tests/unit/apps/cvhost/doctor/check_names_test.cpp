// The checks' names, and the document that has an entry for each.
#include <gmock/gmock.h>

#include <array>
#include <fstream>
#include <set>
#include <string>

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
    EXPECT_EQ(documented, std::set<std::string>(checkNames.begin(), checkNames.end()));
}

TEST(CheckNames, Id_NamesItsOwn) {
    EXPECT_EQ(nameOf(CheckId::driverLoad), "driver-load");
    EXPECT_EQ(nameOf(CheckId::modemLines), "modem-lines");
    EXPECT_EQ(nameOf(CheckId::versionOld), "version-old");
    EXPECT_EQ(nameOf(CheckId::settingInvalid), "setting-invalid");
    EXPECT_EQ(nameOf(CheckId::portName), "port-name");
    EXPECT_EQ(nameOf(CheckId::lineSilent), "line-silent");
    EXPECT_EQ(nameOf(CheckId::interrupted), "interrupted");
}

TEST(Checks, Worst_OfSome_IsTheHighest) {
    EXPECT_EQ(worst({}), Check::Result::pass);
    const std::array<Check, 1> skipped{Check{CheckId::keyTest, Check::Result::skip, ""}};
    EXPECT_EQ(worst(skipped), Check::Result::pass);
    const std::array<Check, 2> warned{Check{CheckId::brltty, Check::Result::warn, ""},
                                      Check{CheckId::consoleActive, Check::Result::pass, ""}};
    EXPECT_EQ(worst(warned), Check::Result::warn);
}

TEST(Checks, Text_WithControlCharacters_ShowsThemAsText) {
    const Check check{CheckId::lineNoise, Check::Result::fail, "a\x1b[2Jb", "c\nd"};
    EXPECT_EQ(checkText(check, false), "FAIL  line-noise           a\\x1b[2Jb\n      -> c\\nd\n");
    EXPECT_THAT(checkText(check, true), testing::StartsWith("\x1b[31mFAIL\x1b[0m  line-noise"));
}

TEST(Checks, Json_WithBytesThatAreNoUtf8_IsStillJson) {
    const std::array<Check, 1> checks{Check{CheckId::lineNoise, Check::Result::fail, "\xff", ""}};
    EXPECT_THAT(checksJson("\xfe", checks), testing::HasSubstr("\"result\": \"fail\""));
}

}  // namespace
}  // namespace cvhost
