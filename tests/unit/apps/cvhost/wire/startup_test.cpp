// How far start-up is, from what the host reports.
#include "apps/cvhost/wire/Startup.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace cvhost::wire {
namespace {

using testing::ElementsAre;
using enum Startup::State;

struct Session {
    Startup startup;

    void happens(const Event& event) { startup.follow(event, {}); }
    void opens() { happens(PortChange{"/dev/ttyUSB0", PortState::open}); }
    void rts(int level) { happens(RtsChange{level}); }
    void sends(const std::string& bytes) { pass(Direction::transmit, bytes); }
    void hears(const std::string& bytes) { pass(Direction::receive, bytes); }
    void activates() { happens(LogLine{"CON:   console_init: console version 7\n"}); }
    void pass(Direction direction, const std::string& bytes) {
        happens(LineBytes{direction, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}});
    }
    const std::array<Startup::Step, 6>& steps() const { return startup.steps(); }
    std::vector<Startup::State> states() const {
        std::vector<Startup::State> states;
        for (const auto& step : steps()) states.push_back(step.state);
        return states;
    }
};

TEST(Startup, OfAConsole_ShowsEachStep) {
    Session session;
    session.opens();
    EXPECT_THAT(session.states(), ElementsAre(done, waiting, waiting, waiting, waiting, waiting));
    session.rts(0);
    EXPECT_THAT(session.states(), ElementsAre(done, now, waiting, waiting, waiting, waiting));
    session.rts(1);
    session.hears("\r\nEPR");
    EXPECT_THAT(session.states(), ElementsAre(done, done, now, waiting, waiting, waiting));
    session.hears("OM>");
    EXPECT_EQ(session.steps()[2].text, "shown");
    session.sends("H ");
    EXPECT_THAT(session.states(), ElementsAre(done, done, done, now, waiting, waiting));
    session.hears("H ");
    session.sends("\r");
    session.hears("\r\r\nV4 monitor\r\nEPROM>");
    EXPECT_THAT(session.states(), ElementsAre(done, done, done, done, waiting, waiting));
    EXPECT_EQ(session.steps()[3].text, "V4 monitor");
    session.sends("J 0100 0");
    session.sends("\r");
    EXPECT_THAT(session.states(), ElementsAre(done, done, done, done, now, waiting));
    session.hears("J 0100 0\r");
    EXPECT_THAT(session.states(), ElementsAre(done, done, done, done, now, waiting));
    session.hears("\r\n");
    EXPECT_THAT(session.states(), ElementsAre(done, done, done, done, done, waiting));
    EXPECT_EQ(session.steps()[4].text, "at 0100");
    session.sends("? ");
    EXPECT_THAT(session.states(), ElementsAre(done, done, done, done, done, now));
    session.hears("V007 ");
    session.activates();
    EXPECT_THAT(session.states(), ElementsAre(done, done, done, done, done, done));
}

TEST(Startup, SilentConsole_ShowsWhereItFailed) {
    Session session;
    session.opens();
    for (const int level : {0, 1, 0, 1}) session.rts(level);
    session.sends("J 0100 0");
    session.sends("\r");
    session.sends("? ");
    session.sends("? ");
    EXPECT_THAT(session.states(), ElementsAre(done, done, failed, failed, failed, now));
    EXPECT_EQ(session.steps()[2].text, "no answer");
    EXPECT_EQ(session.steps()[3].text, "not asked");
    EXPECT_EQ(session.steps()[4].text, "not confirmed");
    EXPECT_EQ(session.steps()[5].text, "asked 2 times");
}

TEST(Startup, ProgramThatRunsAlready_HasStartedOnceItAnswers) {
    Session session;
    session.opens();
    for (const int level : {0, 1, 0, 1}) session.rts(level);
    session.sends("J 0100 0");
    session.sends("\r");
    session.sends("? ");
    session.hears("V007 ");
    EXPECT_THAT(session.states(), ElementsAre(done, done, failed, failed, failed, now));
    session.activates();
    EXPECT_THAT(session.states(), ElementsAre(done, done, failed, failed, done, done));
    EXPECT_EQ(session.steps()[4].text, "it answers");
}

TEST(Startup, PromptThatTheDriverDidNotRead_ModelWasNotAsked) {
    Session session;
    session.opens();
    for (const int level : {0, 1, 0, 1}) session.rts(level);
    session.hears("\r\nEPROM>");
    session.sends("J 0100 0");
    EXPECT_THAT(session.states(), ElementsAre(done, done, failed, failed, now, waiting));
    EXPECT_EQ(session.steps()[2].text, "not read in time");
    EXPECT_EQ(session.steps()[3].text, "not asked");
}

TEST(Startup, ModelAskedInVain_HasNoAnswer) {
    Session session;
    for (const int level : {0, 1}) session.rts(level);
    session.hears("\r\nEPROM>");
    session.sends("H ");
    session.sends("J 0100 0");
    EXPECT_EQ(session.steps()[3].text, "no answer");
}

TEST(Startup, RequestsSentInParts_AreFound) {
    Session session;
    session.opens();
    for (const int level : {0, 1}) session.rts(level);
    for (const char* part : {"H", " ", "\r", "J 01", "00 0", "\r"}) session.sends(part);
    EXPECT_TRUE(session.startup.facts().attempt.modelAsked);
    EXPECT_TRUE(session.startup.facts().attempt.startAsked);
    for (const char* part : {"?", " ? "}) session.sends(part);
    EXPECT_EQ(session.startup.facts().attempt.versionRequests, 2);
}

TEST(Startup, PromptOfAnActiveConsole_IsAPowerCycle) {
    Session session;
    session.opens();
    session.hears("\r\nEP");
    session.activates();
    session.hears("ROM>");
    EXPECT_FALSE(session.startup.facts().powerCycled) << "it began before the console was active";
    session.hears("E \r\nEPRO");
    session.hears("M>");
    EXPECT_TRUE(session.startup.facts().powerCycled);
    session.happens(PortChange{"/dev/ttyUSB0", PortState::lost});
    EXPECT_FALSE(session.startup.facts().powerCycled);
    EXPECT_EQ(session.startup.facts().version, 7) << "it is known still";
}

// Lines about the port itself come before it is open, and the first line of RTS after that.
TEST(Startup, TroubleWithRts_HoldsUntilThePortIsOpenedAnew) {
    Session session;
    session.happens(PortTrouble{.name = "/dev/ttyUSB0", .kind = PortTrouble::Kind::rtsUncertain});
    session.opens();
    session.happens(PortTrouble{.name = "/dev/ttyUSB0", .kind = PortTrouble::Kind::rtsMissing});
    EXPECT_TRUE(session.startup.facts().rtsUncertain && session.startup.facts().rtsMissing);
    session.happens(PortOpening{"/dev/ttyUSB0", {9600, 8, 'N', 1}});
    EXPECT_FALSE(session.startup.facts().rtsUncertain || session.startup.facts().rtsMissing);
}

TEST(Startup, PortThatTakesNothing_TakesBytesAgain) {
    Session session;
    session.opens();
    session.happens(PortTrouble{.name = "/dev/ttyUSB0", .kind = PortTrouble::Kind::notTaking, .unsent = 3});
    EXPECT_TRUE(session.startup.facts().notTaking);
    session.sends("F2 ");
    EXPECT_FALSE(session.startup.facts().notTaking);
}

}  // namespace
}  // namespace cvhost::wire
