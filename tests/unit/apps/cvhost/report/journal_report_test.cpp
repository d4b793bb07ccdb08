// The run as entries of the journal: which there are, their levels and fields.
#include <gmock/gmock.h>

#include <cerrno>
#include <vector>

#include "apps/cvhost/report/JournalReport.h"

namespace cvhost::report {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class JournalEntries : public testing::Test {
protected:
    void give(const Event& event) { m_report(event); }

    std::vector<JournalReport::Fields> m_entries;

private:
    JournalReport m_report{[this](JournalReport::Fields fields) { m_entries.push_back(std::move(fields)); }};
};

TEST_F(JournalEntries, Port_OpenedAndLost_LossIsAWarning) {
    give(PortChange{.name = "/dev/ttyUSB0", .state = PortState::open});
    give(PortChange{.name = "/dev/ttyUSB0", .state = PortState::lost});
    EXPECT_THAT(m_entries,
                ElementsAre(ElementsAre("MESSAGE=/dev/ttyUSB0 is open", "PRIORITY=6", "CORVANE_PORT=/dev/ttyUSB0"),
                            ElementsAre("MESSAGE=/dev/ttyUSB0 is lost: unplugged, switched off, or closed at its far end",
                                        "PRIORITY=4", "CORVANE_PORT=/dev/ttyUSB0")));
}

TEST_F(JournalEntries, Console_Active_IsANoticeWithItsVersion) {
    give(ConsoleActive{.version = 7});
    EXPECT_THAT(m_entries, ElementsAre(ElementsAre("MESSAGE=console version 7", "PRIORITY=5", "CORVANE_VERSION=7")));
}

TEST_F(JournalEntries, LogLine_OfATrouble_IsAWarningWithItsError) {
    give(PortOpening{"/dev/ttyUSB0", {}});
    give(PortTrouble{.name = "/dev/ttyUSB0", .kind = PortTrouble::Kind::cannotOpen, .error = EACCES, .reason = "no"});
    give(LogLine{"cannot open /dev/ttyUSB0: no\n"});
    give(LogLine{"next\n"});
    EXPECT_THAT(m_entries, ElementsAre(ElementsAre("MESSAGE=cannot open /dev/ttyUSB0: no", "PRIORITY=4",
                                                   "CORVANE_PORT=/dev/ttyUSB0", "ERRNO=13"),
                                       ElementsAre("MESSAGE=next", "PRIORITY=6", "CORVANE_PORT=/dev/ttyUSB0")));
}

TEST_F(JournalEntries, Port_LostByAnError_TheLossItselfHasTheError) {
    give(PortTrouble{.name = "/dev/ttyUSB0", .kind = PortTrouble::Kind::lost, .error = EIO, .reason = "no"});
    give(LogLine{"of another thread\n"});
    give(PortChange{.name = "/dev/ttyUSB0", .state = PortState::lost});
    give(LogLine{"Looking\n"});
    give(PortChange{.name = "/dev/ttyUSB0", .state = PortState::lost});
    const std::string lost = "MESSAGE=/dev/ttyUSB0 is lost: unplugged, switched off, or closed at its far end";
    const std::string port = "CORVANE_PORT=/dev/ttyUSB0";
    EXPECT_THAT(m_entries,
                ElementsAre(ElementsAre("MESSAGE=of another thread", "PRIORITY=6", port),
                            ElementsAre(lost, "PRIORITY=4", port, "ERRNO=5"),
                            ElementsAre("MESSAGE=Looking", "PRIORITY=6", port), ElementsAre(lost, "PRIORITY=4", port)));
}

TEST_F(JournalEntries, LogLine_OfAFailureWithoutErrorNumber_IsAWarning) {
    give(PortTrouble{.name = "rfc2217://nowhere:1", .kind = PortTrouble::Kind::cannotOpen, .reason = "unknown host"});
    give(LogLine{"cannot open rfc2217://nowhere:1: unknown host\n"});
    give(LogLine{"next\n"});
    const std::string port = "CORVANE_PORT=rfc2217://nowhere:1";
    EXPECT_THAT(m_entries,
                ElementsAre(ElementsAre("MESSAGE=cannot open rfc2217://nowhere:1: unknown host", "PRIORITY=4", port),
                            ElementsAre("MESSAGE=next", "PRIORITY=6", port)));
}

TEST_F(JournalEntries, LogLine_AfterAPortTookNothing_IsNoWarning) {
    give(PortTrouble{.name = "/dev/ttyUSB0", .kind = PortTrouble::Kind::notTaking, .unsent = 1});
    give(LogLine{"next\n"});
    EXPECT_THAT(m_entries, ElementsAre(ElementsAre("MESSAGE=next", "PRIORITY=6", "CORVANE_PORT=/dev/ttyUSB0")));
}

TEST_F(JournalEntries, LogLine_AgainWithoutConsole_IsSentOnceUntilOneIsActive) {
    give(LogLine{"Looking\n"});
    give(LogLine{"Looking\n"});
    EXPECT_EQ(m_entries.size(), 1u);
    give(ConsoleActive{.version = 7});
    give(LogLine{"Looking\n"});
    give(LogLine{"Looking\n"});
    EXPECT_EQ(m_entries.size(), 4u);
}

TEST_F(JournalEntries, Note_Advice_IsAWarning) {
    give(Note{.heading = "start", .text = "begins"});
    give(Note{.heading = "help", .text = "no console yet", .advice = true});
    EXPECT_THAT(m_entries, ElementsAre(ElementsAre("MESSAGE=begins", "PRIORITY=6", "CORVANE_NOTE=start"),
                                       ElementsAre("MESSAGE=no console yet", "PRIORITY=4", "CORVANE_NOTE=help")));
}

TEST_F(JournalEntries, Keys_Pressed_AreLeftOut) {
    give(KeyQueued{.code = 5, .handled = true, .flags = 0});
    give(KeyReleased{.code = 5, .lost = false});
    EXPECT_THAT(m_entries, IsEmpty());
}

}  // namespace
}  // namespace cvhost::report
