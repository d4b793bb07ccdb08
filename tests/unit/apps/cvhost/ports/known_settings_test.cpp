// What is said of settings, preferences and names of ports.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "apps/cvhost/ports/KnownSettings.h"
#include "apps/cvhost/ports/PortName.h"

namespace cvhost {
namespace {

using testing::HasSubstr;
using Kind = ports::SettingProblem::Kind;

Kind kindOf(const std::string& key, const Settings::Value& value) { return ports::judgeSetting(key, value).value().kind; }

std::string textOf(const char* path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A line for each setting as its manual page has it: "*KEY*" and what it must be, in one.
std::vector<std::string> entriesOf(const std::string& page) {
    std::vector<std::string> entries;
    std::istringstream lines(page);
    for (std::string line, next; std::getline(lines, line);) {
        if (!line.starts_with('*') || !line.ends_with('*') || !std::getline(lines, next)) continue;
        entries.push_back(line + next);
    }
    return entries;
}

TEST(KnownSettings, Manual_HasEachWithTypeRangeAndDefault) {
    std::vector<std::string> entries;
    for (const ports::KnownSetting& known : ports::knownSettings()) {
        std::string type = ports::typeText(known);
        if (type.starts_with('a')) type.front() = 'A';
        entries.push_back('*' + std::string(known.key) + "*\t" + type + ". Default: " + std::string(known.initial) + '.');
    }
    EXPECT_EQ(entriesOf(textOf(SETTINGS_MANUAL)), entries);
}

TEST(KnownSettings, Sample_Uncommented_SetsEachToItsDefault) {
    std::string sample;
    std::istringstream lines(textOf(SETTINGS_SAMPLE));
    for (std::string line; std::getline(lines, line);) {
        const bool commentedOut = line.starts_with('#') && !line.starts_with("# ");
        sample += line.substr(commentedOut ? 1 : 0) + '\n';
    }
    Settings settings;
    ASSERT_EQ(settings.takeFile(sample), std::nullopt);
    EXPECT_EQ(ports::judgeSettings(settings).size(), 0u);
    for (const ports::KnownSetting& known : ports::knownSettings()) {
        EXPECT_THAT(sample, HasSubstr('\n' + std::string(known.key) + " = " + std::string(known.initial) + '\n'));
    }
    EXPECT_EQ(settings.all().size() + settings.allPreferences().size(), ports::knownSettings().size());
}

TEST(KnownSettings, Completion_HasEach) {
    const std::string completion = textOf(SETTINGS_COMPLETION);
    for (const ports::KnownSetting& known : ports::knownSettings()) {
        EXPECT_THAT(completion, HasSubstr(' ' + std::string(known.key) + '='));
    }
}

TEST(JudgeSetting, ValueThatTheDriverTakes_IsNoProblem) {
    EXPECT_FALSE(ports::judgeSetting("console_debug", std::int64_t{1}));
    EXPECT_FALSE(ports::judgeSetting("AutomaticJogTurnOnTriggerLevel", std::int64_t{999}));
    EXPECT_FALSE(ports::judgeSetting("jog_wheel_gearing", 0.5));
    EXPECT_FALSE(ports::judgeSetting("BeyondPlayMultiplier", std::int64_t{2})) << "a whole number is a number";
    EXPECT_FALSE(ports::judgeSetting("console_port", "/dev/ttyUSB7")) << "it may be plugged in later";
    EXPECT_FALSE(ports::judgeSetting("console_port", "")) << "no port at all";
    EXPECT_FALSE(ports::judgePreference("HardwareConsoleEnabled"));
}

TEST(JudgeSetting, Unusable_IsToldByKind) {
    EXPECT_EQ(kindOf("console_prot", "x"), Kind::unknown);
    EXPECT_EQ(kindOf("HardwareConsoleEnabled", true), Kind::otherTable);
    EXPECT_EQ(kindOf("console_debug", "yes"), Kind::wrongType);
    EXPECT_EQ(kindOf("console_debug", true), Kind::wrongType) << "the driver asks for a whole number";
    EXPECT_EQ(kindOf("console_debug", 1.0), Kind::wrongType);
    EXPECT_EQ(kindOf("jog_wheel_gearing", "abc"), Kind::wrongType);
    EXPECT_EQ(kindOf("console_port", std::int64_t{5}), Kind::wrongType);
    EXPECT_EQ(kindOf("AutomaticJogTurnOnTriggerLevel", std::int64_t{0}), Kind::outOfRange);
    EXPECT_EQ(kindOf("console_port", "COM3"), Kind::noPort);
    EXPECT_EQ(ports::judgePreference("HardwareConsoleEnabld").value().kind, Kind::unknown);
    EXPECT_EQ(ports::judgePreference("console_debug").value().kind, Kind::otherTable);
}

TEST(JudgeSetting, KeyOfControlCharacters_IsSafeToShow) {
    EXPECT_EQ(ports::judgeSetting("a\x1b[2J", true).value().text, "unknown setting \"a\\x1b[2J\"");
}

TEST(PortName, FormOfPath_IsEnough) {
    for (const char* name : {"/dev/ttyUSB0", "./desk", "sub/desk", "rfc2217://host:1", "rfc2217://[::1]:65535", "corvane",
                             "A50285BI", "usb-A50285BI-port0", "pci-0000:00:14.0-usb-0:1:1.0-port0"}) {
        EXPECT_TRUE(ports::isPortName(name)) << name;
    }
    for (const char* name : {"", "ttyUSB0", "COM3", "rfc2217://127.0.0.1", "rfc2217://host:99999", "rfc2217://host:0",
                             "rfc2217://:1", "rfc2217://::1:80", "telnet://host:23", "rfc2217:/host:1", "RFC2217://host:1",
                             "host:2217", "ttyUSB12", "A5028", "ABCDEF", "A50285BI "}) {
        EXPECT_FALSE(ports::isPortName(name)) << name;
    }
}

TEST(SimilarPort, Name_WithoutItsBeginning_HasItAgain) {
    const std::vector<std::string> ports{"/dev/ttyS0", "/dev/ttyUSB0"};
    EXPECT_EQ(ports::similarPort("ttyUSB0", ports), "/dev/ttyUSB0");
    EXPECT_EQ(ports::similarPort("ttyUSB1", ports), "/dev/ttyUSB0");
    EXPECT_EQ(ports::similarPort("COM3", ports), "");
    EXPECT_EQ(ports::similarPort("host:2217", ports), "rfc2217://host:2217");
    EXPECT_EQ(ports::similarPort("RFC2217://host:2217", ports), "rfc2217://host:2217");
    EXPECT_EQ(ports::similarPort("rfc2217://host", ports), "");
    EXPECT_EQ(ports::similarPort("", ports), "");
}

}  // namespace
}  // namespace cvhost
