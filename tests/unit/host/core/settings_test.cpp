// The settings and preferences, their texts and their file.
#include "host/api/Settings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <thread>

#include "host/core/Settings.h"
#include "host/linux/SettingsFile.h"
#include "tests/unit/host/HostRig.h"

using cvhost::settings;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class Settings : public testing::Test {
protected:
    void SetUp() override { settings().clear(); }
    void TearDown() override { settings().clear(); }

    static int whole(const char* key) { return config_int(key, -7, INT_MIN, INT_MAX); }
    static std::string text(const char* key) { return config_string(key, "absent").c_str(); }
};

}  // namespace

TEST_F(Settings, Absent_GivesTheDefault) {
    EXPECT_EQ(config_int("no", 5, INT_MIN, INT_MAX), 5);
    EXPECT_EQ(config_double("no", 0.25), 0.25);
    EXPECT_STREQ(config_string("no", "/dev/ttyUSB0").c_str(), "/dev/ttyUSB0");
    EXPECT_TRUE(config_string("no", nullptr).isNull());
}

TEST_F(Settings, WholeNumber_IsClampedToItsRange) {
    settings().set("n", std::int64_t{50});
    EXPECT_EQ(config_int("n", 0, 1, 999), 50);
    EXPECT_EQ(config_int("n", 0, 60, 999), 60);
    EXPECT_EQ(config_int("n", 0, 1, 40), 40);
    settings().set("n", std::int64_t{LLONG_MAX});
    EXPECT_EQ(whole("n"), INT_MAX);
    settings().set("n", std::int64_t{LLONG_MIN});
    EXPECT_EQ(whole("n"), INT_MIN);
    EXPECT_EQ(config_int("absent", 5000, 1, 999), 999);
}

TEST_F(Settings, WrongType_GivesTheDefault) {
    settings().set("text", "12");
    settings().set("fraction", 6.0);
    settings().set("truth", true);
    settings().set("number", std::int64_t{3});
    EXPECT_EQ(whole("text"), -7);
    EXPECT_EQ(whole("fraction"), -7);
    EXPECT_EQ(whole("truth"), -7);
    EXPECT_EQ(config_double("text", 0.5), 0.5);
    EXPECT_EQ(config_double("truth", 0.5), 0.5);
    EXPECT_EQ(text("number"), "absent");
}

TEST_F(Settings, Double_MayBeAnythingAndTakesWholeNumbers) {
    settings().set("d", std::int64_t{2});
    EXPECT_EQ(config_double("d", 0), 2.0);
    settings().set("d", HUGE_VAL);
    EXPECT_EQ(config_double("d", 0), HUGE_VAL);
    settings().set("d", std::nan(""));
    EXPECT_TRUE(std::isnan(config_double("d", 0)));
}

TEST_F(Settings, SetAgain_ShowsInTheNextRead) {
    settings().set("n", std::int64_t{1});
    EXPECT_EQ(whole("n"), 1);
    settings().set("n", std::int64_t{2});
    EXPECT_EQ(whole("n"), 2);
}

TEST_F(Settings, TextForms_AreThoseOfTheFile) {
    const auto as = [](std::string_view value) {
        settings().setFromText("v", value);
        return settings().find("v").value();
    };
    using Value = cvhost::Settings::Value;
    EXPECT_EQ(as("12"), Value(std::int64_t{12}));
    EXPECT_EQ(as("-0x1F"), Value("-0x1F"));  // a sign before a hexadecimal number is no number there
    EXPECT_EQ(as("0x1F"), Value(std::int64_t{31}));
    EXPECT_EQ(as("0.5"), Value(0.5));
    EXPECT_EQ(as("-inf"), Value(-HUGE_VAL));
    EXPECT_EQ(as("true"), Value(true));
    EXPECT_EQ(as("\"12\""), Value("12"));
    EXPECT_EQ(as("/dev/ttyUSB0"), Value("/dev/ttyUSB0"));
    EXPECT_EQ(as("rfc2217://127.0.0.1:5000"), Value("rfc2217://127.0.0.1:5000"));
    EXPECT_EQ(as(""), Value(""));
    EXPECT_EQ(as("a # b"), Value("a # b"));
    EXPECT_EQ(as("[1, 2]"), Value("[1, 2]"));
    EXPECT_EQ(as("1979-05-27"), Value("1979-05-27"));
    EXPECT_EQ(as("1\nother = 2"), Value("1\nother = 2"));
    EXPECT_EQ(as("99999999999999999999"), Value("99999999999999999999"));
    EXPECT_EQ(as("\xFF\xFE"), Value("\xFF\xFE"));
    EXPECT_FALSE(settings().find("other"));
}

TEST_F(Settings, TextNestedWithoutEnd_IsTaken) {
    const std::string deep(100000, '[');
    settings().setFromText("v", deep);
    EXPECT_EQ(text("v"), deep);
}

/// A key of 200,000 parts.
std::string deepKey() {
    std::string key = "a";
    for (int part = 1; part < 200'000; ++part) key += ".a";
    return key;
}

TEST_F(Settings, TextWithAKeyOfManyParts_IsTaken) {
    for (const std::string& deep : {"{" + deepKey() + " = 1}", "1\n[" + deepKey() + "]"}) {
        settings().setFromText("v", deep);
        EXPECT_EQ(text("v"), deep);
    }
}

TEST_F(Settings, FileWithAKeyOfManyParts_IsRefusedWithItsLine) {
    const std::string refusal = "line 2: it has more than 64 dots";
    for (const std::string& form : {"[" + deepKey() + "]", "[[" + deepKey() + "]]", deepKey() + " = 1",
                                    "x = {" + deepKey() + " = 1}", "a = '#'\t" + deepKey()}) {
        EXPECT_EQ(settings().takeFile("[settings]\n" + form), refusal);
    }
    EXPECT_EQ(settings().takeFile("[settings]\n # " + std::string(1000, '.') + "\nv = 5\n"), std::nullopt) << "a comment";
    EXPECT_EQ(whole("v"), 5);
}

TEST_F(Settings, FileWithValuesInValues_IsRefused) {
    const auto nested = [](int levels) {
        std::string value = "1";
        for (int level = 0; level < levels; ++level) value = "[\n{a.a.a.a.a.a.a.a = " + value + "}]";
        return "[settings]\nx = " + value + "\n";
    };
    EXPECT_THAT(settings().takeFile(nested(2)).value_or(""), HasSubstr("a setting is a number"));
    EXPECT_THAT(settings().takeFile(nested(8)).value_or(""), HasSubstr("exceeded maximum nested value depth"));
}

TEST_F(Settings, Preference_UsersChoiceThenHostsThenAskers) {
    EXPECT_TRUE(prefs().getPreference("p", true));
    EXPECT_FALSE(prefs().getPreference("p", false));
    settings().setPreferenceDefault("p", true);
    EXPECT_TRUE(prefs().getPreference("p", false));
    settings().setPreference("p", false);
    EXPECT_FALSE(prefs().getPreference("p", true));
    settings().setPreferenceDefault("p", true);
    EXPECT_FALSE(prefs().getPreference("p", true));
}

TEST_F(Settings, File_IsTakenOver) {
    EXPECT_EQ(settings().takeFile("[settings]\nconsole_debug = 1\nconsole_port = \"/dev/ttyS0\"\njog_wheel_gearing = 0.5\n"
                                  "[preferences]\nHardwareConsoleEnabled = true\n"),
              std::nullopt);
    EXPECT_EQ(whole("console_debug"), 1);
    EXPECT_EQ(text("console_port"), "/dev/ttyS0");
    EXPECT_EQ(config_double("jog_wheel_gearing", 0), 0.5);
    EXPECT_TRUE(prefs().getPreference("HardwareConsoleEnabled", false));
    EXPECT_EQ(settings().takeFile(""), std::nullopt);
    EXPECT_EQ(whole("console_debug"), 1);
}

struct BrokenRow {
    const char* name;
    const char* file;
    const char* problem;
};

class BrokenFile : public testing::TestWithParam<BrokenRow> {};

TEST_P(BrokenFile, Problem_NamesLineAndColumnAndNothingIsTakenOver) {
    settings().clear();
    EXPECT_THAT(settings().takeFile(std::string("[settings]\ngood = 1\n") + GetParam().file).value_or(""),
                StartsWith(GetParam().problem));
    EXPECT_FALSE(settings().find("good"));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BrokenFile,
    testing::Values(
        BrokenRow{.name = "NoValue", .file = "bad =", .problem = "line 3, column 6: "},
        BrokenRow{.name = "Garbage", .file = "!", .problem = "line 3, column 1: "},
        BrokenRow{.name = "List", .file = "a = [1]", .problem = "line 3, column 5: a setting is"},
        BrokenRow{.name = "Date", .file = "a = 1979-05-27", .problem = "line 3, column 5: a setting is"},
        BrokenRow{
            .name = "PreferenceNumber", .file = "[preferences]\np = 1", .problem = "line 4, column 5: a preference is"},
        BrokenRow{.name = "OtherTable", .file = "[setings]\na = 1", .problem = "line 3, column 1: there are the tables"},
        BrokenRow{.name = "NoTable", .file = "[preferences]\n[other]", .problem = "line 4, column 1: there are the tables"}),
    [](const auto& row) { return row.param.name; });

TEST_F(Settings, UsersFile_IsReadFromTheConfigFolder) {
    const Folder folder;
    const Variable config("XDG_CONFIG_HOME", folder.path().c_str());
    folder.write("cvhost/cvhost.toml", "[settings]\nn = 3\n");
    Recorder recorder;
    EXPECT_EQ(cvhost::loadSettingsFile(), std::nullopt);
    EXPECT_EQ(whole("n"), 3);
    EXPECT_THAT(recorder.texts, IsEmpty());
}

TEST_F(Settings, UsersFile_IsReadFromTheHomeFolder) {
    const Folder folder;
    const Variable home("HOME", folder.path().c_str());
    folder.write(".config/cvhost/cvhost.toml", "[settings]\nn = 4\n");
    for (const char* none : {static_cast<const char*>(nullptr), "", "relative"}) {
        settings().clear();
        const Variable config("XDG_CONFIG_HOME", none);
        cvhost::loadSettingsFile();
        EXPECT_EQ(whole("n"), 4);
    }
}

TEST_F(Settings, UsersFileMissing_IsNoError) {
    const Folder folder;
    Recorder recorder;
    const Variable config("XDG_CONFIG_HOME", folder.path().c_str());
    EXPECT_EQ(cvhost::loadSettingsFile(), std::nullopt);
    const Variable none("XDG_CONFIG_HOME", nullptr);
    const Variable noHome("HOME", nullptr);
    EXPECT_EQ(cvhost::loadSettingsFile(), std::nullopt);
    EXPECT_THAT(recorder.texts, IsEmpty());
}

TEST_F(Settings, UsersFileBroken_IsSaidInTheLogAndToTheCaller) {
    const Folder folder;
    const Variable config("XDG_CONFIG_HOME", folder.path().c_str());
    folder.write("cvhost/cvhost.toml", "[settings]\nn = = 3\n");
    Recorder recorder;
    EXPECT_THAT(cvhost::loadSettingsFile().value_or(""), StartsWith("line 2, column 5"));
    EXPECT_EQ(whole("n"), -7);
    EXPECT_THAT(recorder.texts,
                ElementsAre(testing::AllOf(HasSubstr(folder.path("cvhost/cvhost.toml")), HasSubstr("line 2, column 5"))));
}

TEST_F(Settings, UsersFileThatIsAFolderOrHuge_IsSaidInTheLogAndToTheCaller) {
    const Folder folder;
    const Variable config("XDG_CONFIG_HOME", folder.path().c_str());
    folder.write("cvhost/cvhost.toml/file", "");
    Recorder recorder;
    EXPECT_THAT(cvhost::loadSettingsFile().value_or(""), HasSubstr("cannot be opened"));
    std::filesystem::remove_all(folder.path("cvhost/cvhost.toml"));
    folder.write("cvhost/cvhost.toml", "");
    for (const off_t size : {(off_t{1} << 20) + 1, off_t{5} << 30}) {
        ASSERT_EQ(::truncate(folder.path("cvhost/cvhost.toml").c_str(), size), 0);
        EXPECT_THAT(cvhost::loadSettingsFile().value_or(""), HasSubstr("larger than a megabyte")) << size;
    }
    const auto large = HasSubstr("larger than a megabyte");
    EXPECT_THAT(recorder.texts, ElementsAre(HasSubstr("cannot be opened"), large, large));
}

TEST_F(Settings, ReadAndSetOnTwoThreads_GivesOneValueOrTheOther) {
    settings().set("t", "first");
    std::jthread writer([] {
        for (int i = 0; i < 2000; ++i) settings().set("t", i % 2 == 0 ? "second" : "first");
    });
    for (int i = 0; i < 2000; ++i) {
        const std::string seen = text("t");
        ASSERT_TRUE(seen == "first" || seen == "second") << seen;
    }
}
