// What cvhost prints, form by form.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "apps/common/Escape.h"
#include "apps/common/MotionText.h"
#include "apps/cvhost/ports/Permission.h"
#include "apps/cvhost/report/JsonReport.h"
#include "apps/cvhost/report/TextReport.h"
#include "apps/cvhost/run/Advice.h"
#include "host/core/Settings.h"
#include "host/linux/machine/PortUse.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using cvhost::Direction;
using cvhost::PortState;
using Bytes = std::vector<unsigned char>;

struct Escaped {
    std::string text;
    std::string plain;
};

class Escape : public testing::TestWithParam<Escaped> {};

TEST_P(Escape, Text_OfAnyBytes_IsSafeToShow) { EXPECT_EQ(common::plainText(GetParam().text), GetParam().plain); }

INSTANTIATE_TEST_SUITE_P(
    Texts, Escape,
    testing::Values(Escaped{.text = "", .plain = ""}, Escaped{.text = "plain", .plain = "plain"},
                    Escaped{.text = "a\"b\\c", .plain = "a\"b\\c"}, Escaped{.text = "line\r\n", .plain = "line\\r\\n"},
                    Escaped{.text = "\x1b[2J", .plain = "\\x1b[2J"}, Escaped{.text = std::string(1, '\0'), .plain = "\\x00"},
                    Escaped{.text = "\x7f", .plain = "\\x7f"}, Escaped{.text = "\xff", .plain = "\\xff"},
                    Escaped{.text = "\xc3\xa9", .plain = "\xc3\xa9"},               // é
                    Escaped{.text = "\xc3", .plain = "\\xc3"},                      // cut short
                    Escaped{.text = "\xc0\x80", .plain = "\\xc0\\x80"},             // overlong
                    Escaped{.text = "\xc2\x9b", .plain = "\\xc2\\x9b"},             // a control character
                    Escaped{.text = "\xed\xa0\x80", .plain = "\\xed\\xa0\\x80"}));  // a surrogate

/// A report on a pipe; what it prints is read at the end.
template <class ReportOf>
std::string printed(ReportOf reportOf) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) return "no pipe";
    {
        common::LineWriter output(ends[1], {.missing = [](std::size_t) { return std::string(); }, .broken = [] {}});
        reportOf(output);
    }
    ::close(ends[1]);
    std::string text;
    std::array<char, 4096> some{};
    for (ssize_t size = 0; (size = ::read(ends[0], some.data(), some.size())) > 0;) {
        text.append(some.data(), static_cast<std::size_t>(size));
    }
    ::close(ends[0]);
    return text;
}

/// What follows the time of each line.
std::string withoutTime(const std::string& text, std::size_t column) {
    std::string result;
    for (std::size_t begin = 0, end = 0; (end = text.find('\n', begin)) != text.npos; begin = end + 1) {
        result += text.substr(begin + column, end + 1 - begin - column);
    }
    return result;
}

std::string json(bool wire, const std::function<void(const cvhost::EventSink&)>& tell) {
    const std::string text = printed([&](common::LineWriter& output) {
        cvhost::report::JsonReport report(output, {}, wire);
        tell(std::ref(report));
    });
    const std::string head = "{\"t\":0.";
    EXPECT_EQ(text.substr(0, head.size()), head);
    return withoutTime(text, text.find(",\"event\""));
}

TEST(JsonReport, EveryEvent_Told_HasItsExactForm) {
    EXPECT_EQ(
        json(true,
             [](const cvhost::EventSink& report) {
                 report(cvhost::RunBegun{});
                 report(cvhost::LogLine{"text\n"});
                 report(cvhost::PortChange{"/dev/ttyUSB0", PortState::open});
                 report(cvhost::PortChange{"/dev/ttyUSB0", PortState::closed});
                 report(cvhost::PortChange{"/dev/ttyUSB0", PortState::lost});
                 report(cvhost::ConsoleActive{7});
                 report(cvhost::KeyQueued{5, false, 1536});
                 report(cvhost::KeyQueued{28, true, 1536});
                 report(cvhost::HandlerRun{.code = 47, .speed = 0, .jog = -1, .jogExact = -1.5, .wheelEnabled = true});
                 report(cvhost::HandlerRun{.code = 0, .speed = -11994, .jog = 0, .jogExact = 0.0, .wheelEnabled = false});
                 report(cvhost::PlayheadChange{.frame = 7524,
                                               .place = 7523.5,
                                               .speed = -1024,
                                               .markIn = {},
                                               .markOut = 15'000'000'000,
                                               .framesPerSecond = 25});
                 report(cvhost::LineBytes{Direction::transmit, Bytes{'F', '1', '2', ' '}});
                 report(cvhost::LineBytes{Direction::receive, Bytes{0x0D, 0xFF, '"'}});
                 report(cvhost::RtsChange{0});
                 report(cvhost::Note{.heading = "help", .text = "not for programs"});
                 report(cvhost::DeskView{'O', 'F', 'O', 'O', false});
                 report(cvhost::Quiet{});
             }),
        R"(,"event":"start","format":1}
,"event":"log","text":"text\n"}
,"event":"port","name":"/dev/ttyUSB0","state":"open"}
,"event":"port","name":"/dev/ttyUSB0","state":"closed"}
,"event":"port","name":"/dev/ttyUSB0","state":"lost"}
,"event":"active","version":7,"input_ignored":false}
,"event":"key","code":5,"handled":false,"flags":1536}
,"event":"key","code":28,"handled":true,"flags":1536}
,"event":"handler","code":47,"ispeed":0,"jog":-1,"jog_exact":-1.5}
,"event":"handler","code":0,"ispeed":-11994,"jog":0,"jog_exact":0.0}
,"event":"playhead","frame":7524,"timecode":"00:05:00:24","speed":-1024,"in":null,"out":15000000000}
,"event":"wire","dir":"tx","bytes":"F12 "}
,"event":"wire","dir":"rx","bytes":"\r\u00ff\""}
,"event":"rts","level":0}
)");
}

TEST(JsonReport, WireAndRts_NotAskedFor_AreNotTold) {
    EXPECT_EQ(json(false,
                   [](const cvhost::EventSink& report) {
                       report(cvhost::LineBytes{Direction::receive, Bytes{'E', ' '}});
                       report(cvhost::RtsChange{1});
                       report(cvhost::ConsoleActive{6});
                   }),
              ",\"event\":\"active\",\"version\":6,\"input_ignored\":true}\n");
}

TEST(JsonReport, Handler_ExactJogNoNumber_IsNull) {
    const std::string line = json(false, [](const cvhost::EventSink& report) {
        report(cvhost::HandlerRun{.code = 47, .speed = 0, .jog = 0, .jogExact = std::nan(""), .wheelEnabled = true});
    });
    EXPECT_EQ(line, ",\"event\":\"handler\",\"code\":47,\"ispeed\":0,\"jog\":0,\"jog_exact\":null}\n");
}

std::string text(cvhost::report::TextReport::Style style, const std::function<void(const cvhost::EventSink&)>& tell) {
    return withoutTime(printed([&](common::LineWriter& output) {
                           cvhost::report::TextReport report(output, {}, style);
                           tell(std::ref(report));
                       }),
                       std::string("   0.000  ").size());
}

TEST(TextReport, StartUpTriedAgain_IsToldOnce) {
    const auto attempt = [](const cvhost::EventSink& report) {
        report(cvhost::LogLine{"Looking for console on port /dev/ttyUSB0\n"});
        report(cvhost::PortChange{"/dev/ttyUSB0", PortState::open});
        report(cvhost::RtsChange{0});
        report(cvhost::RtsChange{1});
    };
    EXPECT_EQ(text({.colour = false, .wire = false},
                   [&](const cvhost::EventSink& report) {
                       attempt(report);
                       attempt(report);
                       report(cvhost::ConsoleActive{7});
                       report(cvhost::LogLine{"said twice\n"});
                       report(cvhost::LogLine{"said twice\n"});
                   }),
              "log      Looking for console on port /dev/ttyUSB0\n"
              "port     /dev/ttyUSB0 is open\n"
              "reset    RTS low, the console is held in reset\n"
              "reset    RTS high, the console starts\n"
              "active   console version 7\n"
              "log      said twice\n"
              "log      said twice\n");
}

TEST(TextReport, KeysAndWheel_Told_ReadAsWords) {
    EXPECT_EQ(text({.colour = false, .wire = false},
                   [](const cvhost::EventSink& report) {
                       report(cvhost::HandlerRun{.code = 0, .speed = -1495, .jog = 0, .jogExact = 0, .wheelEnabled = false});
                       report(cvhost::HandlerRun{.code = 28, .speed = 0, .jog = 0, .jogExact = 0, .wheelEnabled = true});
                       report(cvhost::KeyQueued{28, true, 1536});
                       report(cvhost::HandlerRun{.code = 47, .speed = 0, .jog = -1, .jogExact = -1.5, .wheelEnabled = true});
                       report(cvhost::HandlerRun{.code = 47, .speed = 0, .jog = 0, .jogExact = 0, .wheelEnabled = true});
                       report(cvhost::HandlerRun{.code = 5, .speed = 0, .jog = 0, .jogExact = 0, .wheelEnabled = true});
                       report(cvhost::KeyQueued{5, true, 1536});
                       report(cvhost::KeyQueued{16, false, 1536});
                       report(cvhost::KeyQueued{12, true, 1536});
                   }),
              "shuttle  ─────●──────┼────────────  ×1.46 reverse\n"
              "wheel    on\n"
              "key      \\  (code 28), jog\n"
              "jog      -1.5\n"
              "key      E  (code 5)\n"
              "key      P  (code 16), queued\n"
              "key      L  (code 12), stop\n");
}

TEST(TextReport, TrimmingKey_QueuedUnderAnothersCode_HasItsOwnLetter) {
    EXPECT_EQ(text({.colour = false, .wire = false},
                   [](const cvhost::EventSink& report) {
                       for (const int code : {31, 39, 40}) report(cvhost::KeyQueued{code, false, 1536});
                       report(cvhost::KeyReleased{.code = 39});
                       report(cvhost::KeyReleased{.code = 31, .lost = true});
                   }),
              "key      g  (code 31), queued\n"
              "key      h  (code 39), queued\n"
              "key      _  (code 40), queued\n"
              "key      g  (code 31), released with the console\n");
}

TEST(TextReport, Wire_ByteByByte_IsToldByCommand) {
    EXPECT_EQ(text({.colour = false, .wire = true},
                   [](const cvhost::EventSink& report) {
                       for (const unsigned char byte : Bytes{'V', '0', '0', '7', ' ', 'E'}) {
                           report(cvhost::LineBytes{Direction::receive, Bytes{byte}});
                       }
                       report(cvhost::LineBytes{Direction::transmit, Bytes{'?', ' '}});
                       report(cvhost::LineBytes{Direction::receive, Bytes{0x1B}});
                       report(cvhost::Quiet{});
                   }),
              "received \"V007 \"\n"
              "received \"E\"\n"
              "sent     \"? \"\n"
              "received \"\\x1b\"\n");
}

TEST(TextReport, LineNoise_WithoutEnd_IsToldInPieces) {
    const std::string told = text({.colour = false, .wire = true}, [](const cvhost::EventSink& report) {
        report(cvhost::LineBytes{Direction::receive, Bytes(5'000, 0xFF)});
        report(cvhost::Quiet{});
    });
    for (std::size_t begin = 0, end = 0; (end = told.find('\n', begin)) != told.npos; begin = end + 1) {
        EXPECT_LT(end - begin, 80u);
    }
    EXPECT_EQ(std::count(told.begin(), told.end(), 'x'), 5'000) << "every byte is there, as \\xff";
}

TEST(TextReport, Lamps_Told_ShowTheirStates) {
    EXPECT_EQ(text({.colour = false, .wire = false},
                   [](const cvhost::EventSink& report) { report(cvhost::DeskView{'B', 'O', 'H', 'F', true}); }),
              "lamps    ◉ reverse   ○ stop   ◐ forward   ● jog   wheel on\n");
}

TEST(TextReport, Playhead_Told_ShowsTimecodeSpeedAndTheMarksThatAreSet) {
    const auto told = [](std::optional<std::int64_t> in, std::optional<std::int64_t> out, int speed) {
        return text({.colour = false, .wire = false}, [=](const cvhost::EventSink& report) {
            report(cvhost::PlayheadChange{
                .frame = 7524, .place = 7524, .speed = speed, .markIn = in, .markOut = out, .framesPerSecond = 25});
        });
    };
    EXPECT_EQ(told({}, {}, 0), "playhead 00:05:00:24  stopped\n");
    EXPECT_EQ(told(25, {}, -512), "playhead 00:05:00:24  ×0.50 reverse  in 00:00:01:00\n");
    EXPECT_EQ(told(25, 50, 1024), "playhead 00:05:00:24  ×1.00 forward  in 00:00:01:00  out 00:00:02:00\n");
}

TEST(TextReport, Speed_AnyValue_StaysOnTheScale) {
    EXPECT_EQ(common::speedText(0), "────────────●────────────  stopped");
    EXPECT_EQ(common::speedText(1024), "────────────┼─────●──────  ×1.00 forward");
    EXPECT_EQ(common::speedText(11994), "────────────┼───────────●  ×11.71 forward");
    EXPECT_EQ(common::speedText(std::numeric_limits<int>::min()), "●───────────┼────────────  ×2097152.00 reverse");
}

TEST(TextReport, Jog_AnyCount_ShowsItsFinePart) {
    EXPECT_EQ(common::jogText(2), "+2");
    EXPECT_EQ(common::jogText(-1.5), "-1.5");
    EXPECT_EQ(common::jogText(10), "+10");
    EXPECT_EQ(common::jogText(0.0001), "+0.0001");
}

struct Reason {
    std::string name;
    cvhost::wire::StartupFacts startup;
    cvhost::run::Circumstances circumstances;
    std::string words;
};

void PrintTo(const Reason& reason, std::ostream* out) { *out << reason.name; }

class Advice : public testing::TestWithParam<Reason> {};

TEST_P(Advice, NoConsole_ForThisReason_SaysItAndWhatToDo) {
    const std::string advice = cvhost::run::whyNoConsole(GetParam().startup, GetParam().circumstances).text;
    EXPECT_NE(advice.find(GetParam().words), advice.npos) << advice;
    EXPECT_NE(advice.find("; "), advice.npos) << "what to do: " << advice;
}

cvhost::wire::StartupFacts port(const std::string& name, const std::string& failure,
                                std::optional<cvhost::PortState> state = {}) {
    cvhost::wire::StartupFacts startup;
    startup.triedPort = name;
    startup.portState = state;
    if (!failure.empty())
        startup.trouble = {.kind = cvhost::PortTrouble::Kind::cannotOpen, .error = 0, .port = name, .reason = failure};
    return startup;
}

INSTANTIATE_TEST_SUITE_P(Reasons, Advice,
                         testing::Values(Reason{.name = "Preference",
                                                .startup = {},
                                                .circumstances = {.preferred = false, .waited = true},
                                                .words = "HardwareConsoleEnabled is off"},
                                         Reason{.name = "NoName",
                                                .startup = {},
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "no port is named"},
                                         Reason{.name = "Missing",
                                                .startup = port("/dev/no-such-port", ""),
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "there is no"},
                                         Reason{.name = "Busy",
                                                .startup = port("/dev/null", "device or resource busy"),
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "device or resource busy; name another port"},
                                         Reason{.name = "NoPortsName",
                                                .startup = port("ttyUSB0", "no such file or directory"),
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "\"ttyUSB0\" is not a port: name a device such as /dev/ttyUSB0"},
                                         Reason{.name = "Network",
                                                .startup = port("rfc2217://[::1]:9", "connection refused"),
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "connection refused; check the name"},
                                         Reason{.name = "Lost",
                                                .startup = port("/dev/ttyUSB0", "", cvhost::PortState::lost),
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "was lost"},
                                         Reason{.name = "Silent",
                                                .startup = port("/dev/ttyUSB0", "", cvhost::PortState::open),
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "no console has answered"},
                                         Reason{.name = "TooSoon",
                                                .startup = port("/dev/ttyUSB0", "", cvhost::PortState::open),
                                                .circumstances = {.preferred = true, .waited = false},
                                                .words = "before start-up was done"},
                                         Reason{.name = "NoiseInName",
                                                .startup = port("/dev/\x1b[2J", "", cvhost::PortState::open),
                                                .circumstances = {.preferred = true, .waited = true},
                                                .words = "\\x1b"}),
                         [](const auto& row) { return row.param.name; });

TEST(AdviceOnSettings, Refused_SaysTheReasonAtOnce) {
    cvhost::wire::StartupFacts startup = port("/dev/tty", "Input/output error");
    startup.trouble->kind = cvhost::PortTrouble::Kind::settingsRefused;
    EXPECT_EQ(cvhost::run::whyNoConsole(startup, {.preferred = true, .waited = false}).text,
              "/dev/tty does not take 9600 baud, 8N1: Input/output error; use another adapter");
}

TEST(AdviceOnLoss, PortNamedInTheSettings_MayBeBackUnderAnotherName) {
    const auto lost = [](const std::string& name) {
        return cvhost::run::whyNoConsole(port(name, "", cvhost::PortState::lost), {.preferred = true, .waited = true}).text;
    };
    cvhost::settings().set("console_port", "/dev/ttyUSB0");
    EXPECT_EQ(
        lost("/dev/ttyUSB0"),
        "/dev/ttyUSB0 was lost; check the adapter and its cable; it may be back under another name: see \"cvhost ports\"");
    EXPECT_EQ(lost("/dev/ttyUSB1"), "/dev/ttyUSB1 was lost; check the adapter and its cable");
    cvhost::settings().set("console_port", "rfc2217://[::1]:9");
    EXPECT_EQ(lost("rfc2217://[::1]:9"),
              "rfc2217://[::1]:9 was lost; check that its server is running, and the network to it");
    cvhost::settings().clear();
}

// The driver opens a silent port anew from time to time, and then start-up has its time before it again.
TEST(BetterDiagnosis, TooEarly_WhatStillHoldsIsKept) {
    using Why = cvhost::run::Diagnosis::Reason;
    const cvhost::run::Diagnosis early{Why::tooEarly, "too early"};
    for (const Why reason : {Why::silent, Why::portLost}) {
        EXPECT_EQ(cvhost::run::better(cvhost::run::Diagnosis{reason, "known"}, early).text, "known");
    }
    EXPECT_EQ(cvhost::run::better(cvhost::run::Diagnosis{Why::other, "not open"}, early).text, "too early")
        << "the port is open now";
    EXPECT_EQ(cvhost::run::better({}, early).text, "too early");
    EXPECT_EQ(cvhost::run::better(cvhost::run::Diagnosis{Why::silent, "known"}, {Why::portLost, "lost"}).text, "lost");
}

TEST(HowToBeAllowed, AnyRights_OneWayFitsThem) {
    cvhost::PortAccess access{.owner = "root", .group = "dialout", .mode = 0660, .user = "ann"};
    EXPECT_EQ(cvhost::ports::howToBeAllowed(access, "/dev/ttyUSB0"),
              "sudo chown ann /dev/ttyUSB0 helps until it is unplugged");
    access.groupHelps = true;
    EXPECT_EQ(cvhost::ports::howToBeAllowed(access, "/dev/ttyUSB0"),
              "sudo usermod -aG dialout ann, then log out and in again");
    access.inGroupLater = true;
    EXPECT_EQ(cvhost::ports::howToBeAllowed(access, "/dev/ttyUSB0"),
              "ann is in the group dialout, but not in this session: log out and in again");
}

// In a process of its own, which may be made somebody who is not allowed.
TEST(HowToBeAllowed, PortNotAllowed_AdviceTakesTheSameWay) {
    const TemporaryFolder folder;
    const std::string file = folder.write("port", "");
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(file, std::filesystem::perms::none);
    const auto tell = [&] {
        if (::geteuid() == 0 && ::setuid(65534) != 0) std::exit(2);
        const auto access = cvhost::accessTo(file);
        const std::string advice = cvhost::run::whyNoConsole(port(file, ""), {.preferred = true, .waited = true}).text;
        std::exit(access && advice == file + " may not be used by this user; " + cvhost::ports::howToBeAllowed(*access, file)
                      ? 0
                      : 1);
    };
    EXPECT_EXIT(tell(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace apps_test
