// cvhost's command line.

#include <gmock/gmock.h>

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
        Wrong{"NoSubcommand", {}, "a subcommand is required", "cvhost --help"},
        Wrong{"UnknownSubcommand", {"walk"}, "there is no subcommand or option \"walk\"", "cvhost --help"},
        Wrong{"UnknownSubcommandBeforeOthers", {"help", "me"}, "there is no subcommand or option \"help\"", "cvhost --help"},
        Wrong{"OptionOfNoSubcommand", {"--bogus"}, "there is no subcommand or option \"--bogus\"", "cvhost --help"},
        Wrong{"OptionUnknownToPorts", {"ports", "--bogus"}, "--bogus", "cvhost ports --help"},
        Wrong{"OptionUnknownToDoctor", {"doctor", "--bogus"}, "--bogus", "cvhost doctor --help"},
        Wrong{"TimelineOfNoFile", {"timeline"}, "FILE is required", "cvhost timeline --help"},
        Wrong{"TimelineOfTwoFiles", {"timeline", "a", "b"}, "b", "cvhost timeline --help"},
        Wrong{"PortWithoutNameForDoctor", {"doctor", "--port"}, "--port", "cvhost doctor --help"},
        Wrong{"PortOfNoNameForDoctor", {"doctor", "--port", ""}, "--port: the name is empty", "cvhost doctor --help"},
        Wrong{"BundleOfNoName", {"doctor", "--bundle", ""}, "--bundle: the name is empty", "cvhost doctor --help"},
        Wrong{"TimelineOfNoName", {"timeline", ""}, "FILE: the name is empty", "cvhost timeline --help"},
        Wrong{"RecordOfNoName", {"run", "--record", ""}, "--record: the name is empty"},
        Wrong{"PortOfNoName", {"run", "--port", ""}, "--port: the name is empty"},
        Wrong{"PortOfNoNameBehindAnEqualsSign", {"run", "--port="}, "--port"},
        Wrong{"UnknownOption", {"run", "--faster"}, "there is no option \"--faster\";"},
        Wrong{"MistypedOption", {"run", "--fur", "3"}, "there is no option \"--fur\" (did you mean \"--for\"?);"},
        Wrong{"MistypedOptionWithItsValue", {"run", "--fro=3"}, "no option \"--fro\" (did you mean \"--for\"?);"},
        Wrong{"OptionOfAnother", {"doctor", "--for", "3"}, "--for is an option of \"cvhost run\";", "cvhost doctor --help"},
        Wrong{"OptionBeforeItsSubcommand", {"--for", "3"}, "--for is an option of \"cvhost run\";", "cvhost --help"},
        Wrong{"MistypedSubcommand", {"rum"}, "\"rum\" (did you mean \"run\"?);", "cvhost --help"},
        Wrong{"OptionTwice", {"run", "--for", "1", "--for", "2"}, "--for is given more than once;"},
        Wrong{"OptionWithoutValue", {"run", "--for"}, "--for needs a value: SECONDS;"},
        Wrong{"OptionWithAnEmptyValue", {"run", "--record="}, "--record needs a value: FILE;"},
        Wrong{"SecondValueMissing", {"run", "--for", "1", "--record"}, "--record needs a value: FILE;"},
        Wrong{"SwitchWithValue", {"run", "--wire=maybe"}, "--wire takes no value;"},
        Wrong{"Extra", {"run", "fast"}, "\"fast\" is not expected after \"cvhost run\";"},
        Wrong{"TwoSubcommands", {"run", "doctor"}, "\"doctor\" is not expected after \"cvhost run\";"},
        Wrong{"ShowWithoutDesk", {"run", "--show"}, "--show requires --desk"},
        Wrong{"DeskAndPort", {"run", "--desk", "--port", "/dev/ttyUSB0"}, "excludes"},
        Wrong{"PortWithoutName", {"run", "--port"}, "--port"},
        Wrong{"UnknownEvents", {"run", "--events", "xml"}, "\"xml\" is neither text nor json"},
        Wrong{"LevelUnknown", {"check-host", "--level", "7"}, "\"7\" is none of 1, 2 and 3;", "cvhost check-host --help"},
        Wrong{"SeedNoNumber",
              {"check-host", "--seed", "-1"},
              "\"-1\" is not a whole number from 0 to 18446744073709551615;",
              "cvhost check-host --help"},
        Wrong{"WebNoPort", {"run", "--web", "here"}, "\"here\" is not a port"},
        Wrong{"WebPortTooHigh", {"run", "--web", "65536"}, "\"65536\" is not a port"},
        Wrong{"WebAddressWithoutBrackets", {"run", "--web", "::1:80"}, "brackets"},
        Wrong{"WebAddressStrange", {"run", "--web", "a b:80"}, "is not a port"},
        Wrong{"TimeNoNumber", {"run", "--for", "soon"}, "\"soon\" is not a number of seconds"},
        Wrong{"TimeNan", {"run", "--for", "nan"}, "\"nan\" is not a number of seconds"},
        Wrong{"TimeInfinite", {"run", "--for", "inf"}, "\"inf\" is not a number of seconds"},
        Wrong{"TimeHuge", {"run", "--for", "1e300"}, "is not a number of seconds"},
        Wrong{"TimeNegative", {"run", "--for", "-1"}, "\"-1\" is not a number of seconds"},
        Wrong{"PlayOfNoFilm", {"play"}, "FILE is required", "cvhost play --help"},
        Wrong{"PlayOfFolder", {"play", "/"}, "cannot read /: it is not a file", "cvhost play --help"},
        Wrong{"ClipWithoutRate", {"run", "--clip", "15000"}, "\"15000\" is not FRAMES@RATE, such as 15000@25"},
        Wrong{"ClipTooLong", {"run", "--clip", "100000001@25"}, "\"100000001@25\" is not FRAMES@RATE"},
        Wrong{"SetWithoutValue", {"run", "--set", "console_debug"}, "\"console_debug\" is not KEY=VALUE"},
        Wrong{"SetOfWrongType", {"run", "--set", "jog_wheel_gearing=abc"}, "\"jog_wheel_gearing\" must be a number"},
        Wrong{"SetOfTruth", {"run", "--set", "console_debug=yes"}, "must be a whole number from 0 to 1"},
        Wrong{"SetPortNoText", {"run", "--set", "console_port=5"}, "\"console_port\" must be a text"},
        Wrong{"SetNoPort", {"run", "--set", "console_port=COM3"}, "\"COM3\" is not a port: name a device such as /dev/"},
        Wrong{
            "PortNoPath", {"run", "--port", "no-such-port"}, "\"no-such-port\" is not a port: name a device such as /dev/"},
        Wrong{"PortWithoutNumber", {"run", "--port", "rfc2217://127.0.0.1"}, "rfc2217://HOST:PORT with a port from 1"},
        Wrong{"PortNumberTooHigh", {"run", "--port", "rfc2217://host:99999"}, "\"rfc2217://host:99999\" is not a port"},
        Wrong{"PortOfOtherScheme", {"run", "--port", "telnet://host:23"}, "\"telnet://host:23\" is not a port"},
        Wrong{"PortWithoutScheme", {"run", "--port", "[::1]:2217"}, "(did you mean \"rfc2217://[::1]:2217\"?)"},
        Wrong{"PortSchemeMistyped", {"run", "--port", "RFC2217:/h:1"}, "(did you mean \"rfc2217://h:1\"?)"},
        Wrong{"PortNoPathForDoctor",
              {"doctor", "--port", "no-such-port"},
              "\"no-such-port\" is not a port",
              "cvhost doctor --help"},
        Wrong{"ControlOfNoName", {"run", "--control", ""}, "--control: the name is empty"},
        Wrong{"CtlWithoutCommand", {"ctl"}, "COMMAND is required", "cvhost ctl --help"},
        Wrong{"CtlMistyped", {"ctl", "lmp", "5", "on"}, "(did you mean \"lamp\"?)", "cvhost ctl --help"},
        Wrong{"CtlLampOfNoNumber", {"ctl", "lamp", "x", "on"}, "a whole number from 1 to 46", "cvhost ctl --help"},
        Wrong{"CtlJsonOfALamp", {"ctl", "--json", "lamp", "5", "on"}, "\"status\" alone", "cvhost ctl --help"},
        Wrong{"SetWithoutKey", {"run", "--set", "=1"}, "\"=1\" is not KEY=VALUE"},
        Wrong{"PreferNoTruth", {"run", "--prefer", "HardwareConsoleEnabled=maybe"}, "\"maybe\" is neither true nor false"}),
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
