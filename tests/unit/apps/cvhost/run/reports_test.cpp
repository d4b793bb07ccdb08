// Which events a run's reports and its page show.
#include "apps/cvhost/run/Reports.h"

#include <gtest/gtest.h>

using cvhost::run::Options;
using cvhost::run::wantedEvents;

namespace {

const cvhost::Event bytes = cvhost::LineBytes{cvhost::Direction::receive, {}};
const cvhost::Event note = cvhost::Note{.heading = "start", .text = "begins"};

}  // namespace

TEST(WantedEvents, LineBytes_ShownByNobody_AreNotWanted) {
    Options options;
    EXPECT_FALSE(wantedEvents(options)(bytes));
    options.wire = true;
    EXPECT_TRUE(wantedEvents(options)(bytes));
}

TEST(WantedEvents, Page_ShowsBytesAndNotes_WithAnyReport) {
    Options options;
    options.events = Options::Events::json;
    EXPECT_FALSE(wantedEvents(options)(bytes));
    EXPECT_FALSE(wantedEvents(options)(note));
    options.web.emplace();
    EXPECT_TRUE(wantedEvents(options)(bytes));
    EXPECT_TRUE(wantedEvents(options)(note));
}

TEST(WantedEvents, Text_NotesAreWantedAndWhatOnlyOthersTake_IsNot) {
    const Options options;
    EXPECT_TRUE(wantedEvents(options)(note));
    EXPECT_FALSE(wantedEvents(options)(cvhost::ByteHandled{.byte = 'x'}));
}
