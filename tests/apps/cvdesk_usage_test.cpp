// cvdesk's command line.

#include <gmock/gmock.h>

#include <csignal>

#include "tests/apps/CvdeskRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

struct WrongDesk {
    Arguments arguments;
    std::string says;
};
void PrintTo(const WrongDesk& wrong, std::ostream* out) { *out << testing::PrintToString(wrong.arguments); }

class CvdeskUsage : public CvdeskTest, public testing::WithParamInterface<WrongDesk> {};

TEST_P(CvdeskUsage, CommandLine_Wrong_EndsWithStatusTwoAndOneSentence) {
    Process desk(cvdesk(GetParam().arguments));
    EXPECT_EQ(desk.wait(), 2);
    EXPECT_THAT(desk.lines(), IsEmpty());
    EXPECT_THAT(desk.errors(), MatchesRegex("cvdesk: [^\n]+; \"cvdesk --help\" shows what it takes\\.\n"));
    EXPECT_THAT(desk.errors(), HasSubstr(GetParam().says));
}

INSTANTIATE_TEST_SUITE_P(
    Errors, CvdeskUsage,
    testing::Values(WrongDesk{{}, "one of --rfc2217 PORT, --pty LINK and --usb"},
                    WrongDesk{{"--rfc2217", "0", "--pty", "x"}, "one of --rfc2217 PORT, --pty LINK and --usb"},
                    WrongDesk{{"--rfc2217", "0", "--usb"}, "one of --rfc2217 PORT, --pty LINK and --usb"},
                    WrongDesk{{"--pty", ""}, "--pty: the name is empty"},
                    WrongDesk{{"--rfc2217", "0", "--script", ""}, "--script: the name is empty"},
                    WrongDesk{{"--rfc2217", "0", "--replay", ""}, "--replay: the name is empty"},
                    WrongDesk{{"--rfc2217", "0", "--usb-product", "x"}, "--usb-product requires --usb"},
                    WrongDesk{{"--usb", "--usb-product", ""}, "1 to 126 printable ASCII characters"},
                    WrongDesk{{"--usb", "--usb-product", std::string(127, 'x')}, "1 to 126 printable ASCII characters"},
                    WrongDesk{{"--usb", "--usb-product", "a\tb"}, "1 to 126 printable ASCII characters"},
                    WrongDesk{{"--rfc2217"}, "--rfc2217 needs a value: [ADDR:]PORT;"},
                    WrongDesk{{"--rfc2217", "0", "--rfc2217", "1"}, "--rfc2217 is given more than once;"},
                    WrongDesk{{"--rfc2217", "0", "--fimware", "7"}, "\"--fimware\" (did you mean \"--firmware\"?);"},
                    WrongDesk{{"--rfc2217", "65536"}, "\"65536\""}, WrongDesk{{"--rfc2217", "-1"}, "-1"},
                    WrongDesk{{"--rfc2217", "12x"}, "\"12x\""}, WrongDesk{{"--rfc2217", ":12"}, "\":12\""},
                    WrongDesk{{"--rfc2217", "localhost:"}, "\"localhost:\""},
                    WrongDesk{{"--rfc2217", "0", "--firmware", "x"}, "--firmware"},
                    WrongDesk{{"--rfc2217", "0", "--firmware", "4096"}, "\"4096\" is not a version from 0 to 4095;"},
                    WrongDesk{{"--rfc2217", "0", "--model", "V5"}, "\"V5\" is neither V4 nor other"},
                    WrongDesk{{"--rfc2217", "0", "--loud"}, "--loud"},
                    WrongDesk{{"--rfc2217", "0", "more"}, "\"more\" is not expected;"}));

TEST_F(CvdeskTest, Script_Missing_EndsWithStatusTwo) {
    Process desk(cvdesk({"--rfc2217", "0", "--script", m_folder.path() / "none"}));
    EXPECT_EQ(desk.wait(), 2);
    EXPECT_THAT(desk.errors(), HasSubstr("cannot read "));
}

TEST_F(CvdeskTest, Line_NotToBeHad_EndsWithStatusThree) {
    const std::string file = m_folder.write("file", "");
    for (const Arguments& arguments : {Arguments{"--pty", file}, Arguments{"--pty", file + "/x"},
                                       Arguments{"--rfc2217", "192.0.2.1:0"}, Arguments{"--rfc2217", "256.0.0.1:0"}}) {
        Process desk(cvdesk(arguments));
        EXPECT_EQ(desk.wait(), 3);
        EXPECT_THAT(desk.errors(), MatchesRegex("cvdesk: [^\n]+; choose another place for the desk\\.\n"));
        EXPECT_THAT(desk.lines(), IsEmpty());
    }
}

TEST_F(CvdeskTest, Usb_KernelWithoutController_EndsWithStatusThreeAndTheRemedy) {
    if (std::filesystem::exists("/sys/devices/platform/vhci_hcd.0")) GTEST_SKIP() << "this kernel has one";
    Process desk(cvdesk({"--usb"}));
    EXPECT_EQ(desk.wait(), 3);
    EXPECT_THAT(desk.errors(), MatchesRegex("cvdesk: [^\n]+modprobe vhci-hcd[^\n]+\\.\n"));
    EXPECT_THAT(desk.lines(), IsEmpty());
}

TEST_F(CvdeskTest, Help_NamesEveryOptionAndCommandAndStatus) {
    Process desk(cvdesk({"--help"}));
    EXPECT_EQ(desk.wait(), 0);
    std::string text;
    for (const std::string& line : desk.lines()) text += line + '\n';
    for (const char* word :
         {"--rfc2217",   "--pty",        "--usb",        "--usb-product", "--firmware", "--model",     "--script",
          "--unpaced",   "--silent",     "--no-monitor", "--running",     "--version",  "wait active", "sleep",
          "press",       "release",      "tap",          "shuttle",       "jog",        "raw",         "power-cycle",
          "expect lamp", "expect wheel", "quit",         "Exit status",   "NO_COLOR"})
        EXPECT_THAT(text, HasSubstr(word));
}

TEST_F(CvdeskTest, Version_IsTold) {
    Process desk(cvdesk({"--version"}));
    EXPECT_EQ(desk.wait(), 0);
    ASSERT_EQ(desk.lines().size(), 1U);
    EXPECT_THAT(desk.lines()[0], MatchesRegex("cvdesk [0-9]+\\.[0-9]+\\.[0-9]+"));
}

TEST_F(CvdeskTest, FirstLine_TellsThePortThatWasPicked) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    EXPECT_THAT(whereIs(desk), MatchesRegex("rfc2217://127\\.0\\.0\\.1:[1-9][0-9]*"));
    EXPECT_THAT(desk.lines()[0], StartsWith("Listening on "));
    desk.signal(SIGTERM);
    EXPECT_EQ(desk.wait(), 0);
}

TEST_F(CvdeskTest, FirstLine_TellsTheLinkAndTheTerminal) {
    const std::string link = m_folder.path() / "desk";
    Process desk(cvdesk({"--pty", link}));
    const std::string where = whereIs(desk);
    EXPECT_EQ(where, link + ", which leads to " + std::filesystem::read_symlink(link).string());
}

TEST_F(CvdeskTest, OutputsReaderGone_KeepsServing) {
    Process desk(scripted(""));
    whereIs(desk);
    desk.closeOutput();
    const cvhost::FileDescriptor port = openPort();
    say(port, "F1 F2 ? ");
    EXPECT_EQ(hear(port, 5), "V007 ");
    say(port, "O1 O2 ? ");
    EXPECT_EQ(hear(port, 5), "V007 ");
    desk.signal(SIGTERM);
    EXPECT_EQ(desk.wait(), 0);
}

}  // namespace
}  // namespace apps_test
