// Start-up judged from what was seen on the line.
#include <gmock/gmock.h>

#include <functional>

#include "apps/cvhost/doctor/StartupChecks.h"

namespace cvhost {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Trouble = PortTrouble::Kind;
using Stage = wire::StartupFacts::Stage;

/// Something that happens during start-up.
struct Happening {
    std::function<Event()> event;
    wire::Time at{};
};

const Happening opened{[] { return PortChange{"/dev/ttyUSB0", PortState::open}; }, 1s};
const Happening lost{[] { return PortChange{"/dev/ttyUSB0", PortState::lost}; }};

Happening logged(std::string line, wire::Time at = {}) {
    return {[=] { return LogLine{line}; }, at};
}
Happening passed(Direction direction, std::string bytes) {
    return {[=] { return LineBytes{direction, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}}; }};
}
Happening sent(std::string bytes) { return passed(Direction::transmit, std::move(bytes)); }
Happening came(std::string bytes) { return passed(Direction::receive, std::move(bytes)); }
/// The driver's own line of what it took in one go.
Happening read(const std::string& text) {
    const std::string end = " (bytesRead: " + std::to_string(text.size()) + " timeout 0)\n";
    return logged("CON:   ReadString: " + text + end);
}
Happening trouble(Trouble what, std::string reason = {}) {
    return {[=] { return PortTrouble{.name = "/dev/ttyUSB0", .kind = what, .reason = reason}; }};
}
Happening active(int version) {
    return logged("CON:   console_init: console version " + std::to_string(version) + "\n", 3s);
}

const std::string promptText = "\r\nEPROM>";
const Happening prompt = came(promptText);
const Happening over = logged("CON:   console_init: no console found\n");

wire::StartupFacts after(const std::vector<Happening>& seen) {
    wire::Startup startup;
    for (const Happening& each : seen) startup.follow(each.event(), each.at);
    return startup.facts();
}

std::vector<std::string> found(const std::vector<Happening>& seen) {
    std::vector<std::string> result;
    for (const doctor::Check& check : doctor::checkStartup("/dev/ttyUSB0", after(seen))) {
        result.push_back(std::string(nameOf(check.result)) + ' ' + std::string(nameOf(check.id)));
    }
    return result;
}

std::string lastText(const std::vector<Happening>& seen) {
    return doctor::checkStartup("/dev/ttyUSB0", after(seen)).back().text;
}

TEST(StartupState, Events_TellHowFarItIs) {
    EXPECT_EQ(after({}).stage(), Stage::underWay);
    EXPECT_EQ(after({opened}).stage(), Stage::underWay);
    EXPECT_EQ(after({trouble(Trouble::busy, "busy")}).stage(), Stage::notOpen);
    EXPECT_EQ(after({opened, over}).stage(), Stage::silent);
    EXPECT_EQ(after({opened, trouble(Trouble::notTaking)}).stage(), Stage::silent);
    EXPECT_EQ(after({opened, lost}).stage(), Stage::lost);
    EXPECT_EQ(after({opened, active(7)}).stage(), Stage::active);
}

TEST(JudgeStartup, NeverOpened_IsPortOpenOrHeld) {
    EXPECT_THAT(found({trouble(Trouble::busy, "device or resource busy")}), ElementsAre("FAIL port-held"));
    EXPECT_THAT(found({trouble(Trouble::cannotOpen, "not a serial port")}), ElementsAre("FAIL port-open"));
    EXPECT_EQ(lastText({trouble(Trouble::cannotOpen, "not a serial port")}), "cannot open /dev/ttyUSB0: not a serial port");
    EXPECT_THAT(found({}), ElementsAre("FAIL port-open"));
}

TEST(JudgeStartup, SettingsRefused_NameIsNotBlamed) {
    const std::vector<Happening> refused{trouble(Trouble::settingsRefused, "invalid argument")};
    EXPECT_THAT(found(refused), ElementsAre("FAIL port-open"));
    EXPECT_EQ(lastText(refused), "/dev/ttyUSB0 does not take 9600 baud, 8N1: invalid argument");
    EXPECT_EQ(doctor::checkStartup("/dev/ttyUSB0", after(refused)).back().next, "use another adapter");
}

TEST(JudgeStartup, SettingsRefusedByAnOpenPort_IsTheReasonForItsSilence) {
    const std::vector<Happening> refused{opened, trouble(Trouble::settingsRefused, "its server has 115200 baud"),
                                         came("\xFF")};
    EXPECT_THAT(found({refused[0], refused[1], refused[2], over}), ElementsAre("FAIL port-open"));
    EXPECT_EQ(doctor::checkStartup("rfc2217://127.0.0.1:9", after(refused)).back().next, "set its server to 9600 baud, 8N1");
}

/// What passes when the driver has read the prompt and asks which model it is, and what it reads of the reply.
std::vector<Happening> identified(const std::string& reply) {
    return {opened,     prompt,     read(promptText),   sent("H "), came("H "),
            read("H "), sent("\r"), came('\r' + reply), read("\r"), read(reply)};
}

std::vector<Happening> operator+(std::vector<Happening> all, const std::vector<Happening>& more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

TEST(JudgeStartup, Active_TimeIsFromTheOpening) {
    const auto seen = identified("\r\nV4 X\r\nEPROM>") + std::vector{active(7)};
    EXPECT_THAT(found(seen), ElementsAre("PASS console-active"));
    EXPECT_EQ(lastText(seen), "the console answered: model \"V4 X\", version 7, active after 2.00 s");
}

TEST(JudgeStartup, ActiveWithoutIdentity_Warns) {
    EXPECT_THAT(found(identified("") + std::vector{sent("J 0100 0"), active(7)}),
                ElementsAre("WARN identification-none", "PASS console-active"));
}

// On a line without RTS the prompt comes when the line is opened, and is purged.
TEST(JudgeStartup, PromptThatTheDriverDidNotRead_ModelWasNotAsked) {
    const std::vector<Happening> seen{opened, prompt, trouble(Trouble::rtsMissing), read(""), read("")};
    const std::vector<Happening> working =
        seen + std::vector{sent("J 0100 0"), came("J 0100 0"), read("J 0100 0"), active(7)};
    EXPECT_THAT(found(working), ElementsAre("WARN modem-lines", "PASS console-active"));
    EXPECT_THAT(lastText(working), HasSubstr("answered: model not asked, version 7"));
    EXPECT_THAT(found(seen + std::vector{sent("J 0100 0"), over}), ElementsAre("WARN modem-lines", "FAIL version-none"));
}

TEST(JudgeStartup, ReplyThatTheDriverDidNotRead_IsNone) {
    const std::vector<Happening> late{opened,          prompt,   sent("H "), read(""),
                                      sent("\r"),      read(""), read(""),   came("H \r\r\nV4 X\r\nEPROM>"),
                                      sent("J 0100 0")};
    EXPECT_THAT(found(late + std::vector{active(7)}), ElementsAre("WARN identification-none", "PASS console-active"));
    EXPECT_THAT(found(late + std::vector{over}), ElementsAre("FAIL identification-none"));
}

// The driver looks at the third and fourth of the characters that it reads, whatever came before.
TEST(JudgeStartup, ReplyReadOutOfStep_IsTheModelThatTheDriverTakesItFor) {
    EXPECT_THAT(found({opened, prompt, sent("H "), read(""), sent("\r"), came("H \r\r\nV4 X"), read("H"),
                       read(" \r\r\nV4 X"), active(7)}),
                ElementsAre("WARN model-unknown", "PASS console-active"));
}

TEST(JudgeStartup, ActiveThroughTheJumpAlone_NoMonitorIsMissed) {
    EXPECT_THAT(found({opened, trouble(Trouble::rtsMissing), sent("J 0100 0"), came("J 0100 0"), active(8)}),
                ElementsAre("WARN modem-lines", "PASS console-active"));
}

TEST(JudgeStartup, ReplyAfterTheJump_IsNoIdentity) {
    EXPECT_THAT(found({opened, prompt, sent("H "), sent("J 0100 0"), came("\r\nV4"), read("\r\nV4"), over}),
                ElementsAre("FAIL identification-none"));
}

TEST(JudgeStartup, ReplyOfOneCharacter_IsAnUnknownModel) {
    EXPECT_THAT(found(identified("M") + std::vector{active(7)}), ElementsAre("WARN model-unknown", "PASS console-active"));
}

TEST(JudgeStartup, ReplyThatBeginsWithZero_IsAnUnknownModel) {
    const Happening zeros = logged("CON:   ReadString:  (bytesRead: 3 timeout 0)\n");
    EXPECT_THAT(found({opened, prompt, sent("H "), read("H "), sent("\r"), read("\r"), zeros, active(7)}),
                ElementsAre("WARN model-unknown", "PASS console-active"));
}

TEST(JudgeStartup, ReadLineThatIsNone_IsPassedOver) {
    for (const char* text :
         {"CON:   ReadString: ", "CON:   ReadString: (bytesRead: 3", "CON:   ReadString: x (bytesRead: -1"}) {
        EXPECT_THAT(found({opened, prompt, sent("H "), logged(text), active(7)}),
                    ElementsAre("WARN identification-none", "PASS console-active"));
    }
}

TEST(JudgeStartup, JumpNotConfirmed_IsSaid) {
    const auto started =
        identified("\r\nV4") + std::vector{sent("J 0100 0"), came("J 0100 0"), read("J 0100 0"), sent("\r")};
    EXPECT_THAT(lastText(started + std::vector{came("\r?"), read("\r"), read("?"), over}),
                testing::AllOf(HasSubstr("did not confirm"), HasSubstr("came 4A 20 30 31 30 30 20 30 0D 3F")));
    EXPECT_THAT(lastText(started + std::vector{came("\r\r\n"), read("\r"), read("\r\n"), over}),
                HasSubstr("the program was started, but"));
    EXPECT_THAT(lastText(started + std::vector{came("\r\nEPROM>"), read("\r"), read("\nE"), over}),
                HasSubstr("did not confirm"))
        << "a prompt is no confirmation";
}

TEST(JudgeStartup, MuchNoise_IsCutShort) {
    const std::string text = lastText({opened, came(std::string(1000, '\0')), over});
    EXPECT_THAT(text, HasSubstr("1000 bytes came"));
    EXPECT_TRUE(text.ends_with("00 00 ...")) << text;
    EXPECT_LT(text.size(), 200u);
}

TEST(JudgeStartup, Lost_SaysWhy) {
    EXPECT_THAT(found({opened, trouble(Trouble::lost, "I/O error"), lost}), ElementsAre("FAIL port-lost"));
    EXPECT_THAT(lastText({opened, trouble(Trouble::lost, "I/O error"), lost}), HasSubstr(": I/O error"));
}

TEST(JudgeStartup, VersionSix_IsTooOld) {
    EXPECT_THAT(found({opened, sent("J 0100 0"), came("V006 "), active(6)}),
                ElementsAre("WARN program-running", "PASS console-active", "FAIL version-old"));
}

TEST(JudgeStartup, VersionOnTheLine_IsTheOneThatIsTold) {
    const auto text = [](const char* line) {
        return lastText({opened, sent("J 0100 0"), sent("? "), came(line), active(7)});
    };
    EXPECT_THAT(text("J 0100 0\r\nV0"), HasSubstr("version 7, active"));
    EXPECT_THAT(text("J 0100 0\r\nV00x V0055 "), HasSubstr("version 7, active"));
    EXPECT_THAT(text("\r\nV4 X V007 "), HasSubstr("version 7, active"));
    EXPECT_THAT(text("\r\nV006 V00A "), HasSubstr("version 10, which the driver takes for 7, active"));
    EXPECT_THAT(text("V005 "), HasSubstr("version 5, which"));
    EXPECT_THAT(text("V-05 V"), HasSubstr("version 7, active"));
    EXPECT_THAT(lastText({opened, sent("J 0100 0"), came("V005 "), sent("? "), came("V0"), active(7)}),
                HasSubstr("version 7, active"))
        << "what came before it was asked may have been read as an echo";
}

TEST(JudgeStartup, SilentWithoutRts_NoResetIsTalkedOf) {
    EXPECT_THAT(lastText({opened, over}), HasSubstr(" after a reset and six requests"));
    EXPECT_THAT(lastText({opened, trouble(Trouble::rtsMissing), over}), HasSubstr("/dev/ttyUSB0 after six requests"));
}

TEST(JudgeStartup, NetworkPortWithoutControl_HasNoModemLines) {
    EXPECT_THAT(found({trouble(Trouble::rtsUncertain), opened, over}), ElementsAre("WARN modem-lines", "FAIL line-silent"));
}

}  // namespace
}  // namespace cvhost
