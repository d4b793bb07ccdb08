// cvhost's command line.

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::StartsWith;

struct Wrong {
    std::string name;
    Arguments arguments;
    std::string says;
    std::string help = "cvhost run --help";
};

void PrintTo(const Wrong& wrong, std::ostream* out) { *out << wrong.name; }

class CvhostUsage : public CvhostTest, public testing::WithParamInterface<Wrong> {};

TEST_P(CvhostUsage, CommandLine_Wrong_EndsWithStatusTwoAndOneSentence) {
    Process::Setup setup = cvhost({});
    setup.command.resize(1);
    setup.command.insert(setup.command.end(), GetParam().arguments.begin(), GetParam().arguments.end());
    Process host(setup);

    EXPECT_EQ(host.wait(), 2);
    EXPECT_THAT(host.lines(), IsEmpty());
    EXPECT_THAT(host.errors(), MatchesRegex("cvhost: [^\n]+; \"" + GetParam().help + "\" shows what it takes\\.\n"));
    EXPECT_THAT(host.errors(), HasSubstr(GetParam().says));
}

INSTANTIATE_TEST_SUITE_P(
    Errors, CvhostUsage,
    testing::Values(
        Wrong{.name = "NoSubcommand", .arguments = {}, .says = "a subcommand is required", .help = "cvhost --help"},
        Wrong{.name = "UnknownSubcommand",
              .arguments = {"walk"},
              .says = "there is no subcommand or option \"walk\"",
              .help = "cvhost --help"},
        Wrong{.name = "UnknownSubcommandBeforeOthers",
              .arguments = {"help", "me"},
              .says = "there is no subcommand or option \"help\"",
              .help = "cvhost --help"},
        Wrong{.name = "OptionOfNoSubcommand",
              .arguments = {"--bogus"},
              .says = "there is no subcommand or option \"--bogus\"",
              .help = "cvhost --help"},
        Wrong{.name = "OptionUnknownToPorts",
              .arguments = {"ports", "--bogus"},
              .says = "--bogus",
              .help = "cvhost ports --help"},
        Wrong{.name = "OptionUnknownToDoctor",
              .arguments = {"doctor", "--bogus"},
              .says = "--bogus",
              .help = "cvhost doctor --help"},
        Wrong{.name = "TimelineOfNoFile",
              .arguments = {"timeline"},
              .says = "FILE is required",
              .help = "cvhost timeline --help"},
        Wrong{.name = "TimelineOfTwoFiles",
              .arguments = {"timeline", "a", "b"},
              .says = "b",
              .help = "cvhost timeline --help"},
        Wrong{.name = "PortWithoutNameForDoctor",
              .arguments = {"doctor", "--port"},
              .says = "--port",
              .help = "cvhost doctor --help"},
        Wrong{.name = "PortOfNoNameForDoctor",
              .arguments = {"doctor", "--port", ""},
              .says = "--port: the name is empty",
              .help = "cvhost doctor --help"},
        Wrong{.name = "BundleOfNoName",
              .arguments = {"doctor", "--bundle", ""},
              .says = "--bundle: the name is empty",
              .help = "cvhost doctor --help"},
        Wrong{.name = "TimelineOfNoName",
              .arguments = {"timeline", ""},
              .says = "FILE: the name is empty",
              .help = "cvhost timeline --help"},
        Wrong{.name = "RecordOfNoName", .arguments = {"run", "--record", ""}, .says = "--record: the name is empty"},
        Wrong{.name = "PortOfNoName", .arguments = {"run", "--port", ""}, .says = "--port: the name is empty"},
        Wrong{.name = "PortOfNoNameBehindAnEqualsSign", .arguments = {"run", "--port="}, .says = "--port"},
        Wrong{.name = "UnknownOption", .arguments = {"run", "--faster"}, .says = "there is no option \"--faster\";"},
        Wrong{.name = "MistypedOption",
              .arguments = {"run", "--fur", "3"},
              .says = "there is no option \"--fur\" (did you mean \"--for\"?);"},
        Wrong{.name = "MistypedOptionWithItsValue",
              .arguments = {"run", "--fro=3"},
              .says = "no option \"--fro\" (did you mean \"--for\"?);"},
        Wrong{.name = "OptionOfAnother",
              .arguments = {"doctor", "--for", "3"},
              .says = "--for is an option of \"cvhost run\";",
              .help = "cvhost doctor --help"},
        Wrong{.name = "OptionBeforeItsSubcommand",
              .arguments = {"--for", "3"},
              .says = "--for is an option of \"cvhost run\";",
              .help = "cvhost --help"},
        Wrong{.name = "MistypedSubcommand",
              .arguments = {"rum"},
              .says = "\"rum\" (did you mean \"run\"?);",
              .help = "cvhost --help"},
        Wrong{.name = "OptionTwice",
              .arguments = {"run", "--for", "1", "--for", "2"},
              .says = "--for is given more than once;"},
        Wrong{.name = "OptionWithoutValue", .arguments = {"run", "--for"}, .says = "--for needs a value: SECONDS;"},
        Wrong{.name = "OptionWithAnEmptyValue", .arguments = {"run", "--record="}, .says = "--record needs a value: FILE;"},
        Wrong{.name = "SecondValueMissing",
              .arguments = {"run", "--for", "1", "--record"},
              .says = "--record needs a value: FILE;"},
        Wrong{.name = "SwitchWithValue", .arguments = {"run", "--wire=maybe"}, .says = "--wire takes no value;"},
        Wrong{.name = "Extra", .arguments = {"run", "fast"}, .says = "\"fast\" is not expected after \"cvhost run\";"},
        Wrong{.name = "TwoSubcommands",
              .arguments = {"run", "doctor"},
              .says = "\"doctor\" is not expected after \"cvhost run\";"},
        Wrong{.name = "ShowWithoutDesk", .arguments = {"run", "--show"}, .says = "--show requires --desk"},
        Wrong{.name = "DeskAndPort", .arguments = {"run", "--desk", "--port", "/dev/ttyUSB0"}, .says = "excludes"},
        Wrong{.name = "PortWithoutName", .arguments = {"run", "--port"}, .says = "--port"},
        Wrong{.name = "UnknownEvents", .arguments = {"run", "--events", "xml"}, .says = "\"xml\" is neither text nor json"},
        Wrong{.name = "LevelUnknown",
              .arguments = {"check-host", "--level", "7"},
              .says = "\"7\" is none of 1, 2 and 3;",
              .help = "cvhost check-host --help"},
        Wrong{.name = "SeedNoNumber",
              .arguments = {"check-host", "--seed", "-1"},
              .says = "\"-1\" is not a whole number from 0 to 18446744073709551615;",
              .help = "cvhost check-host --help"},
        Wrong{.name = "WebNoPort", .arguments = {"run", "--web", "here"}, .says = "\"here\" is not a port"},
        Wrong{.name = "WebPortTooHigh", .arguments = {"run", "--web", "65536"}, .says = "\"65536\" is not a port"},
        Wrong{.name = "WebAddressWithoutBrackets", .arguments = {"run", "--web", "::1:80"}, .says = "brackets"},
        Wrong{.name = "WebAddressStrange", .arguments = {"run", "--web", "a b:80"}, .says = "is not a port"},
        Wrong{.name = "TimeNoNumber", .arguments = {"run", "--for", "soon"}, .says = "\"soon\" is not a number of seconds"},
        Wrong{.name = "TimeNan", .arguments = {"run", "--for", "nan"}, .says = "\"nan\" is not a number of seconds"},
        Wrong{.name = "TimeInfinite", .arguments = {"run", "--for", "inf"}, .says = "\"inf\" is not a number of seconds"},
        Wrong{.name = "TimeHuge", .arguments = {"run", "--for", "1e300"}, .says = "is not a number of seconds"},
        Wrong{.name = "TimeNegative", .arguments = {"run", "--for", "-1"}, .says = "\"-1\" is not a number of seconds"},
        Wrong{.name = "PlayOfNoFilm", .arguments = {"play"}, .says = "FILE is required", .help = "cvhost play --help"},
        Wrong{.name = "PlayOfFolder",
              .arguments = {"play", "/"},
              .says = "cannot read /: it is not a file",
              .help = "cvhost play --help"},
        Wrong{.name = "ClipWithoutRate",
              .arguments = {"run", "--clip", "15000"},
              .says = "\"15000\" is not FRAMES@RATE, such as 15000@25"},
        Wrong{.name = "ClipTooLong",
              .arguments = {"run", "--clip", "100000001@25"},
              .says = "\"100000001@25\" is not FRAMES@RATE"},
        Wrong{.name = "SetWithoutValue",
              .arguments = {"run", "--set", "console_debug"},
              .says = "\"console_debug\" is not KEY=VALUE"},
        Wrong{.name = "SetOfWrongType",
              .arguments = {"run", "--set", "jog_wheel_gearing=abc"},
              .says = "\"jog_wheel_gearing\" must be a number"},
        Wrong{.name = "SetOfTruth",
              .arguments = {"run", "--set", "console_debug=yes"},
              .says = "must be a whole number from 0 to 1"},
        Wrong{.name = "SetPortNoText",
              .arguments = {"run", "--set", "console_port=5"},
              .says = "\"console_port\" must be a text"},
        Wrong{.name = "SetNoPort",
              .arguments = {"run", "--set", "console_port=COM3"},
              .says = "\"COM3\" is not a port: name a device such as /dev/"},
        Wrong{.name = "PortNoPath",
              .arguments = {"run", "--port", "no-such-port"},
              .says = "\"no-such-port\" is not a port: name a device such as /dev/"},
        Wrong{.name = "PortWithoutNumber",
              .arguments = {"run", "--port", "rfc2217://127.0.0.1"},
              .says = "rfc2217://HOST:PORT with a port from 1"},
        Wrong{.name = "PortNumberTooHigh",
              .arguments = {"run", "--port", "rfc2217://host:99999"},
              .says = "\"rfc2217://host:99999\" is not a port"},
        Wrong{.name = "PortOfOtherScheme",
              .arguments = {"run", "--port", "telnet://host:23"},
              .says = "\"telnet://host:23\" is not a port"},
        Wrong{.name = "PortWithoutScheme",
              .arguments = {"run", "--port", "[::1]:2217"},
              .says = "(did you mean \"rfc2217://[::1]:2217\"?)"},
        Wrong{.name = "PortSchemeMistyped",
              .arguments = {"run", "--port", "RFC2217:/h:1"},
              .says = "(did you mean \"rfc2217://h:1\"?)"},
        Wrong{.name = "PortNoPathForDoctor",
              .arguments = {"doctor", "--port", "no-such-port"},
              .says = "\"no-such-port\" is not a port",
              .help = "cvhost doctor --help"},
        Wrong{.name = "ControlOfNoName", .arguments = {"run", "--control", ""}, .says = "--control: the name is empty"},
        Wrong{.name = "CtlWithoutCommand", .arguments = {"ctl"}, .says = "COMMAND is required", .help = "cvhost ctl --help"},
        Wrong{.name = "CtlMistyped",
              .arguments = {"ctl", "lmp", "5", "on"},
              .says = "(did you mean \"lamp\"?)",
              .help = "cvhost ctl --help"},
        Wrong{.name = "CtlLampOfNoNumber",
              .arguments = {"ctl", "lamp", "x", "on"},
              .says = "a whole number from 1 to 46",
              .help = "cvhost ctl --help"},
        Wrong{.name = "CtlJsonOfALamp",
              .arguments = {"ctl", "--json", "lamp", "5", "on"},
              .says = "\"status\" alone",
              .help = "cvhost ctl --help"},
        Wrong{.name = "SetWithoutKey", .arguments = {"run", "--set", "=1"}, .says = "\"=1\" is not KEY=VALUE"},
        Wrong{.name = "PreferNoTruth",
              .arguments = {"run", "--prefer", "HardwareConsoleEnabled=maybe"},
              .says = "\"maybe\" is neither true nor false"}),
    [](const auto& row) { return row.param.name; });

TEST_F(CvhostTest, Help_AskedFor_ShowsOptionsAndExitStatuses) {
    Process host(cvhost({"--help"}));
    EXPECT_EQ(host.wait(), 0);
    std::string text;
    for (const std::string& line : host.lines()) text += line + '\n';
    for (const char* part : {"--desk", "--port NAME", "--events text|json", "--wire", "--show", "--web [ADDR:]PORT",
                             "--for SECONDS", "--set KEY=VALUE", "--prefer KEY=BOOL", "Exit status: 0", "NO_COLOR"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    EXPECT_THAT(host.errors(), IsEmpty());
}

TEST_F(CvhostTest, Help_OfTheWhole_HasExamples) {
    Process::Setup setup = cvhost({});
    setup.command.back() = "--help";
    Process host(setup);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(host.lines(),
                IsSupersetOf({StartsWith("Examples:"), StartsWith("  cvhost run "), StartsWith("  cvhost doctor ")}));
}

TEST_F(CvhostTest, Help_ThatNamesPages_NamesThoseThatExist) {
    for (const char* subcommand : {"doctor", "ctl", "map", "check-host"}) {
        Process::Setup setup = cvhost({});
        setup.command.resize(1);
        setup.command.insert(setup.command.end(), {subcommand, "--help"});
        Process host(setup);
        EXPECT_EQ(host.wait(), 0);
        std::size_t pages = 0;
        for (const std::string& line : host.lines()) {
            std::istringstream words(line);
            for (std::string word; words >> word;) {
                if (!word.ends_with(".md")) continue;
                EXPECT_TRUE(word.starts_with('/') && std::filesystem::exists(word)) << subcommand << ": " << word;
                ++pages;
            }
        }
        EXPECT_NE(pages, 0u) << subcommand;
    }
}

TEST_F(CvhostTest, Version_AskedFor_IsOneLine) {
    Process::Setup setup = cvhost({});
    setup.command.back() = "--version";
    Process host(setup);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_EQ(host.lines().size(), 1u);
    EXPECT_THAT(host.lines().at(0), StartsWith("cvhost "));
}

}  // namespace
}  // namespace apps_test
