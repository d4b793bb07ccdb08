#include "apps/cvhost/doctor/EventLog.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace {

using cvhost::doctor::EventLog;
using cvhost::doctor::LoggedEvent;

std::ptrdiff_t countOf(const cvhost::doctor::EventLog& events, cvhost::doctor::LoggedEvent::Kind kind) {
    const auto seen = events.seen();
    return std::ranges::count(seen, kind, &cvhost::doctor::LoggedEvent::kind);
}

TEST(EventLogOfMuch, Chatter_BeyondTheLimit_HidesNothingElse) {
    cvhost::doctor::EventLog events([] {}, nullptr);
    const std::string line(1000, 'x');
    const std::string_view byte = "E";
    for (int i = 0; i < 2000; ++i) events(cvhost::LogLine{line});
    const auto logged = countOf(events, cvhost::doctor::LoggedEvent::Kind::log);
    EXPECT_LT(logged, 1100) << "no more than a mebibyte";
    for (int i = 0; i < 46; ++i)
        events(cvhost::LineBytes{cvhost::Direction::transmit,
                                 {reinterpret_cast<const unsigned char*>(byte.data()), byte.size()}});
    events(cvhost::PortChange{"/dev/desk", cvhost::PortState::lost});

    EXPECT_EQ(countOf(events, cvhost::doctor::LoggedEvent::Kind::log), logged);
    EXPECT_EQ(countOf(events, cvhost::doctor::LoggedEvent::Kind::transmit), 46);
    EXPECT_EQ(countOf(events, cvhost::doctor::LoggedEvent::Kind::lost), 1);
}

}  // namespace
