#include "apps/cvhost/doctor/EventLog.h"

#include <gtest/gtest.h>

#include <string>

namespace cvhost::doctor {
namespace {

using Stage = wire::StartupFacts::Stage;

LineBytes sent(std::string_view bytes) {
    return {Direction::transmit, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}};
}

TEST(EventLogOfMuch, Chatter_BeyondTheLimit_HidesNothingElse) {
    EventLog events([] {}, nullptr);
    const std::string line(1000, 'x');
    for (int i = 0; i < 2000; ++i) events(LogLine{line});
    const auto logged = events.seen().log.size();
    EXPECT_LE(logged, 1U << 20) << "no more than a mebibyte";
    EXPECT_GT(logged, 1'000'000U);
    for (int i = 0; i < 46; ++i) events(sent("E"));
    events(PortChange{"/dev/desk", PortState::lost});

    EXPECT_EQ(events.seen().log.size(), logged);
    EXPECT_EQ(events.seen().sent, std::string(46, 'E'));
    EXPECT_TRUE(events.seen().portLost);
}

TEST(EventLog, StartupThatHasEnded_StaysAsItWas) {
    EventLog events([] {}, nullptr);
    events(PortChange{"/dev/desk", PortState::open});
    events(sent("J 0100 0"));
    EXPECT_EQ(events.seen().startup.stage(), Stage::underWay);
    events(LogLine{"CON:   console_init: no console found\n"});
    events(RtsChange{0});
    events(LogLine{"CON:   console_init: console version 7\n"});
    EXPECT_EQ(events.seen().startup.stage(), Stage::silent) << "the next attempt is another one";
    EXPECT_TRUE(events.seen().startup.attempt.startAsked);
}

}  // namespace
}  // namespace cvhost::doctor
