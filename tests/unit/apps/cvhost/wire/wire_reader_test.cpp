// What the page makes of the bytes on the line.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "apps/cvhost/wire/StartupTrace.h"
#include "apps/cvhost/wire/WireReader.h"

namespace apps_test {
namespace {

using ::cvhost::Direction;
using ::cvhost::wire::StartupTrace;
using ::cvhost::wire::WireMessage;
using ::cvhost::wire::WireReader;
using testing::ElementsAre;

struct Reading {
    cvhost::wire::WireReader reader;
    cvhost::wire::StartupTrace steps;
    std::vector<std::string> meanings;

    void pass(Direction direction, const std::string& bytes) {
        reader.read(direction, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()},
                    [this](const cvhost::wire::WireMessage& message) {
                        meanings.push_back(message.meaning);
                        steps.message(message, 0);
                    });
    }
    void sends(const std::string& bytes) { pass(Direction::transmit, bytes); }
    void hears(const std::string& bytes) { pass(Direction::receive, bytes); }
    void rts(int level) {
        if (level == 0) reader.reset();
        steps.rts(level, 0);
    }
    std::vector<cvhost::wire::StartupTrace::State> states() const {
        std::vector<cvhost::wire::StartupTrace::State> states;
        for (const auto& step : steps.steps()) states.push_back(step.state);
        return states;
    }
};

struct Meant {
    Direction direction;
    std::string bytes;
    std::string meaning;
};

void PrintTo(const Meant& meant, std::ostream* out) { *out << meant.bytes; }

class WireReaderTest : public testing::TestWithParam<Meant> {};

TEST_P(WireReaderTest, Message_OfTheProgram_HasItsMeaning) {
    Reading reading;
    reading.hears(GetParam().bytes.starts_with('L') ? "V008 " : "V007 ");
    reading.pass(GetParam().direction, GetParam().bytes);
    EXPECT_THAT(reading.meanings, ElementsAre(testing::_, GetParam().meaning));
}

INSTANTIATE_TEST_SUITE_P(
    Messages, WireReaderTest,
    testing::Values(
        Meant{Direction::transmit, "F2 ", "lamp 2 (stop) on"}, Meant{Direction::transmit, "H46 ", "lamp 46 half"},
        Meant{Direction::transmit, "B1 ", "lamp 1 (forward) blinking"}, Meant{Direction::transmit, "O10 ", "lamp 10 off"},
        Meant{Direction::transmit, "F47 ", "not a command"}, Meant{Direction::transmit, "F02 ", "not a command"},
        Meant{Direction::transmit, "Q ", "not a command"}, Meant{Direction::transmit, "W ", "wheel on"},
        Meant{Direction::transmit, "? ", "which version?"}, Meant{Direction::receive, "V007 ", "version 7"},
        Meant{Direction::receive, "E ", "key E (code 5) pressed"},
        Meant{Direction::receive, "EU ", "key E (code 5) released"},
        Meant{Direction::receive, "n ", "key n (code 46) pressed"},
        Meant{Direction::receive, "oU ", "key o (code 47) released"}, Meant{Direction::receive, "p ", "not a packet"},
        Meant{Direction::receive, "D ", "key D (code 4) pressed"},
        Meant{Direction::receive, "DU ", "key D (code 4) released"}, Meant{Direction::receive, "D12 ", "ignored"},
        Meant{Direction::receive, "V ", "a version that cannot be read"},
        Meant{Direction::receive, "VU ", "a version that cannot be read"},
        Meant{Direction::receive, "VXYZ ", "a version that cannot be read"},
        Meant{Direction::receive, "\\C8FF1388 ", "ring +73, wheel -1.5"},
        Meant{Direction::receive, "L7F00F63C ", "ring 0, wheel -0.25"},
        Meant{Direction::receive, "\\C8FF13 ", "not a packet"},
        Meant{Direction::receive, "\\C8FFZZZZ ", "ring +73, wheel -1"},
        Meant{Direction::receive, "~E ", "from the expansion port: key E (code 5) pressed"},
        Meant{Direction::receive, std::string(48, '\xff'), "unfinished"}));

TEST(WireReader, BothWays_AtOnce_AreKeptApart) {
    Reading reading;
    reading.hears("V007 ");
    reading.meanings.clear();
    reading.hears("\\C8");
    reading.sends("F2 ");
    reading.hears("000000 E");
    reading.sends("H3 ");
    reading.hears(" ");
    EXPECT_THAT(reading.meanings,
                ElementsAre("lamp 2 (stop) on", "ring +73, wheel +0", "lamp 3 (reverse) half", "key E (code 5) pressed"));
    EXPECT_EQ(reading.reader.look().ring, 200);
    EXPECT_EQ(reading.reader.look().lamp[1], 'F');
    EXPECT_EQ(reading.reader.look().lamp[2], 'H');
    EXPECT_TRUE(reading.reader.look().held[5]);
}

TEST(WireReader, Status_OfAnotherVersionAfter8_IsIgnored) {
    Reading reading;
    const auto& packets = reading.reader.packets();
    for (const char* version : {"V007 ", "V006 "}) {
        reading.hears(version);
        EXPECT_FALSE(packets.onlyVersion8() || packets.statusIgnored()) << version;
    }
    reading.hears("V008 ");
    EXPECT_TRUE(packets.onlyVersion8());
    EXPECT_FALSE(packets.statusIgnored());
    for (const char* version : {"V007 ", "V009 "}) {
        reading.hears(version);
        EXPECT_TRUE(packets.onlyVersion8() && packets.statusIgnored()) << version;
    }
    reading.hears("V008 ");
    EXPECT_FALSE(packets.statusIgnored());
}

TEST(WireReader, Startup_OfAConsole_ShowsEachStep) {
    using enum cvhost::wire::StartupTrace::State;
    Reading reading;
    reading.reader.forget();
    reading.steps.port("/dev/ttyUSB0", ::cvhost::PortState::open, 0);
    EXPECT_THAT(reading.states(), ElementsAre(done, waiting, waiting, waiting, waiting, waiting));
    reading.rts(0);
    EXPECT_THAT(reading.states(), ElementsAre(done, now, waiting, waiting, waiting, waiting));
    reading.rts(1);
    reading.hears("\r\nEPR");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, now, waiting, waiting, waiting));
    reading.hears("OM>");
    EXPECT_EQ(reading.steps.steps()[2].text, "shown");
    reading.sends("H ");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, done, now, waiting, waiting));
    reading.hears("H ");
    reading.sends("\r");
    reading.hears("\r\r\nV4 monitor\r\nEPROM>");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, done, done, waiting, waiting));
    EXPECT_EQ(reading.steps.steps()[3].text, "V4 monitor");
    reading.sends("J 0100 0");
    reading.sends("\r");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, done, done, now, waiting));
    reading.hears("J 0100 0\r");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, done, done, now, waiting));
    reading.hears("\r\n");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, done, done, done, waiting));
    EXPECT_EQ(reading.steps.steps()[4].text, "at 0100");
    reading.sends("? ");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, done, done, done, now));
    reading.hears("V007 ");
    EXPECT_EQ(reading.meanings.back(), "version 7");
    reading.steps.active(7, 0);
    EXPECT_THAT(reading.states(), ElementsAre(done, done, done, done, done, done));
}

TEST(WireReader, Startup_SilentConsole_ShowsWhereItFailed) {
    using enum cvhost::wire::StartupTrace::State;
    Reading reading;
    reading.reader.forget();
    reading.steps.port("/dev/ttyUSB0", ::cvhost::PortState::open, 0);
    for (const int level : {0, 1, 0, 1}) reading.rts(level);
    reading.sends("J 0100 0");
    reading.sends("\r");
    reading.sends("? ");
    reading.sends("? ");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, failed, failed, failed, now));
    EXPECT_EQ(reading.steps.steps()[2].text, "no answer");
    EXPECT_EQ(reading.steps.steps()[3].text, "not asked");
    EXPECT_EQ(reading.steps.steps()[4].text, "not confirmed");
    EXPECT_EQ(reading.steps.steps()[5].text, "asked 2 times");
}

TEST(WireReader, Startup_ProgramThatRunsAlready_HasStartedOnceItAnswers) {
    using enum StartupTrace::State;
    Reading reading;
    reading.steps.port("/dev/ttyUSB0", ::cvhost::PortState::open, 0);
    for (const int level : {0, 1, 0, 1}) reading.rts(level);
    reading.sends("J 0100 0");
    reading.sends("\r");
    reading.sends("? ");
    reading.hears("V007 ");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, failed, failed, failed, now));
    reading.steps.active(7, 0);
    EXPECT_THAT(reading.states(), ElementsAre(done, done, failed, failed, done, done));
    EXPECT_EQ(reading.steps.steps()[4].text, "it answers");
}

TEST(WireReader, Startup_PromptThatTheDriverDidNotRead_ModelWasNotAsked) {
    using enum cvhost::wire::StartupTrace::State;
    Reading reading;
    reading.steps.port("/dev/ttyUSB0", ::cvhost::PortState::open, 0);
    for (const int level : {0, 1, 0, 1}) reading.rts(level);
    reading.hears("\r\nEPROM>");
    reading.sends("J 0100 0");
    EXPECT_THAT(reading.states(), ElementsAre(done, done, failed, failed, now, waiting));
    EXPECT_EQ(reading.steps.steps()[2].text, "not read in time");
    EXPECT_EQ(reading.steps.steps()[3].text, "not asked");
}

TEST(WireReader, Startup_ModelAskedInVain_HasNoAnswer) {
    Reading reading;
    for (const int level : {0, 1}) reading.rts(level);
    reading.hears("\r\nEPROM>");
    reading.sends("H ");
    reading.sends("J 0100 0");
    EXPECT_EQ(reading.steps.steps()[3].text, "no answer");
}

}  // namespace
}  // namespace apps_test
