// `cvhost timeline`: recordings as lines for a person.

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "apps/common/Escape.h"
#include "apps/cvhost/timeline/Timeline.h"
#include "apps/recording/Recording.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using namespace std::chrono_literals;
using recording::Event;
using recording::Recording;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using Kind = Event::Kind;
using Lines = std::vector<std::string>;

/// Where a line's heading begins, and where its text does: behind the time and the gap.
constexpr std::size_t headingColumn = 22;
constexpr std::size_t textColumn = 32;

Lines linesOf(const std::string& text) {
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

Lines linesFor(const std::string& recordingText, bool colour = false) {
    std::string text;
    ::cvhost::timeline::writeTimeline(recording::Reader(recordingText), colour,
                                      [&](std::string_view line) { text += line; });
    return linesOf(text);
}

const std::string goodHeader = recording::headerLine("cvhost", std::chrono::system_clock::time_point(1'700'000'000s));

/// The lines of these events, without the one above them.
Lines shown(const std::vector<Event>& events, bool colour = false) {
    std::string text = goodHeader;
    for (const Event& event : events) text += recording::lineFor(event);
    Lines lines = linesFor(text, colour);
    lines.erase(lines.begin());
    return lines;
}

std::string plainBytesOf(const Recording& recording, Kind kind) {
    std::string bytes;
    for (const Event& event : recording.events) {
        if (event.kind == kind) bytes += event.text;
    }
    return ::common::plainBytes({reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
}

/// All bytes that the lines with this heading show.
std::string bytesShown(const Lines& lines, const std::string& heading) {
    std::string bytes;
    for (const std::string& line : lines) {
        if (line.size() < textColumn || !line.substr(headingColumn).starts_with(heading + ' ')) continue;
        int first = 0;
        int last = 0;
        if (std::sscanf(line.c_str() + textColumn, "\"O%d \" to \"O%d \"", &first, &last) == 2) {
            for (int lamp = first; lamp <= last; ++lamp) bytes += "O" + std::to_string(lamp) + " ";
        } else {
            bytes += line.substr(textColumn + 1, line.rfind('"') - textColumn - 1);
        }
    }
    return bytes;
}

std::string contentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

const std::string keysAndWheel = std::string(RECORDINGS) + "/keys-and-wheel.jsonl";

class CvhostTimeline : public CvhostTest {
protected:
    Process::Setup timeline(const std::string& file) const {
        Process::Setup setup = cvhost({file});
        setup.command.at(1) = "timeline";
        return setup;
    }
    /// What it prints of a file that it must be able to show.
    Lines printed(const std::string& file) const {
        Process host(timeline(file));
        EXPECT_EQ(host.wait(), 0) << host.errors();
        EXPECT_THAT(host.errors(), IsEmpty());
        return host.lines();
    }
    std::string file() const { return m_folder.path() / "recording.jsonl"; }
};

struct Told {
    std::string name;
    Event event;
    std::string line;
};

void PrintTo(const Told& told, std::ostream* out) { *out << told.name; }

class TimelineLine : public testing::TestWithParam<Told> {};

TEST_P(TimelineLine, Event_WithAConsoleActive_IsToldInOneLine) {
    const std::string version = GetParam().name == "WheelOfVersion8" ? "V008 " : "V007 ";
    EXPECT_THAT(shown({{.kind = Kind::rx, .text = version}, GetParam().event}).at(1), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    Events, TimelineLine,
    testing::Values(Told{.name = "Opening",
                         .event = {.kind = Kind::opening, .port = "/dev/ttyUSB0", .line = {9600, 8, 'N', 1}},
                         .line = "    0.000             port      /dev/ttyUSB0 opens: 9600 baud, 8N1"},
                    Told{.name = "OpeningOtherwise",
                         .event = {.kind = Kind::opening, .port = "/dev/ttyS1", .line = {38400, 7, 'E', 2}},
                         .line = "    0.000             port      /dev/ttyS1 opens: 38400 baud, 7E2"},
                    Told{.name = "Open",
                         .event = {.at = 12345678us, .kind = Kind::open, .port = "/dev/ttyS1"},
                         .line = "   12.346  +12.346 s  port      /dev/ttyS1 is open"},
                    Told{.name = "Closed",
                         .event = {.kind = Kind::closed, .port = "/dev/ttyS1"},
                         .line = "    0.000             port      /dev/ttyS1 is closed"},
                    Told{.name = "Lost",
                         .event = {.kind = Kind::lost, .port = "/dev/ttyS1"},
                         .line = "    0.000             port      /dev/ttyS1 is lost"},
                    Told{.name = "Trouble",
                         .event = {.kind = Kind::trouble, .port = "/dev/ttyS1", .text = "cannot be opened: no such file"},
                         .line = "    0.000             trouble   /dev/ttyS1 cannot be opened: no such file"},
                    Told{.name = "RtsLow",
                         .event = {.kind = Kind::rts, .number = 0},
                         .line = "    0.000             reset     RTS low, the console is held in reset"},
                    Told{.name = "RtsHigh",
                         .event = {.kind = Kind::rts, .number = 1},
                         .line = "    0.000             reset     RTS high, the console starts"},
                    Told{.name = "Lamp",
                         .event = {.kind = Kind::tx, .text = "F12 "},
                         .line = "    0.000             sent      \"F12 \"          lamp 12 on"},
                    Told{.name = "Key",
                         .event = {.kind = Kind::rx, .text = "E "},
                         .line = "    0.000             received  \"E \"            key E (code 5) pressed"},
                    Told{.name = "Version",
                         .event = {.kind = Kind::rx, .text = "V007 "},
                         .line = "    0.000             received  \"V007 \"         version 7"},
                    Told{.name = "Wheel",
                         .event = {.kind = Kind::rx, .text = "\\540309C4 "},
                         .line = "    0.000             received  \"\\540309C4 \"    ring -43 (×0.63 reverse), wheel +3.25"},
                    Told{.name = "WheelOfVersion8",
                         .event = {.kind = Kind::rx, .text = "L7F000000 "},
                         .line = "    0.000             received  \"L7F000000 \"    ring 0 (stopped), wheel +0"},
                    Told{.name = "Unfinished",
                         .event = {.kind = Kind::rx, .text = "V00"},
                         .line = "    0.000             received  \"V00\"           unfinished"},
                    Told{
                        .name = "Added",
                        .event = {.kind = Kind::added, .text = "\x18 "},
                        .line = "    0.000             added     \"\\x18 \"  by the host, to end what the loss has cut off"},
                    Told{.name = "Call",
                         .event = {.kind = Kind::call, .text = "lamp_set", .arguments = {12, -1}},
                         .line = "    0.000             host      lamp_set(12, -1)"},
                    Told{.name = "QueuedKey",
                         .event = {.kind = Kind::key, .number = 5},
                         .line = "    0.000             driver    key E (code 5) queued"},
                    // The driver queues these three under one another's codes.
                    Told{.name = "QueuedAs31",
                         .event = {.kind = Kind::key, .number = 31},
                         .line = "    0.000             driver    key g (code 39) queued"},
                    Told{.name = "QueuedAs39",
                         .event = {.kind = Kind::key, .number = 39},
                         .line = "    0.000             driver    key h (code 40) queued"},
                    Told{.name = "QueuedAs40",
                         .event = {.kind = Kind::key, .number = 40},
                         .line = "    0.000             driver    key _ (code 31) queued"},
                    Told{.name = "QueuedAsNoKey",
                         .event = {.kind = Kind::key, .number = -5},
                         .line = "    0.000             driver    key (code -5) queued"}),
    [](const auto& row) { return row.param.name; });

TEST(Timeline, Gap_LongerThanAPacketTakes_IsTold) {
    EXPECT_THAT(shown({{.at = 1ms, .kind = Kind::rts},
                       {.at = 1ms + 14999us, .kind = Kind::rts},
                       {.at = 31ms, .kind = Kind::rts},
                       {.at = 31ms + 999ms, .kind = Kind::rts},
                       {.at = 2280ms, .kind = Kind::rts}}),
                ElementsAre(StartsWith("    0.001             reset "), StartsWith("    0.016             reset "),
                            StartsWith("    0.031     +15 ms  reset "), StartsWith("    1.030    +999 ms  reset "),
                            StartsWith("    2.280   +1.250 s  reset ")));
}

TEST(Timeline, Packet_InPieces_HasTheTimeOfItsLastByte) {
    EXPECT_THAT(shown({{.at = 1ms, .kind = Kind::rx, .text = "V0"},
                       {.at = 2ms, .kind = Kind::tx, .text = "F2 "},
                       {.at = 3ms, .kind = Kind::rx, .text = "07 E"}}),
                ElementsAre("    0.002             sent      \"F2 \"           lamp 2 (stop) on",
                            "    0.003             received  \"V007 \"         version 7",
                            "    0.003             received  \"E\"             unfinished"));
}

TEST(Timeline, LampsOffOneAfterTheOther_AreOneLine) {
    EXPECT_THAT(shown({{.at = 1ms, .kind = Kind::tx, .text = "O3 O4 "},
                       {.at = 2ms, .kind = Kind::tx, .text = "O5 "},
                       {.at = 30ms, .kind = Kind::tx, .text = "O6 F2 "}}),
                ElementsAre("    0.001             sent      \"O3 \" to \"O6 \"  lamps 3 to 6 off",
                            "    0.030             sent      \"F2 \"           lamp 2 (stop) on"));
}

TEST(Timeline, LampsOffInSmallNumbersOrAnotherOrder_AreALineEach) {
    Lines lamps;
    for (const std::string& line : shown({{.at = 1ms, .kind = Kind::tx, .text = "O30 O31 O32 "},
                                          {.at = 2ms, .kind = Kind::rts, .number = 1},
                                          {.at = 3ms, .kind = Kind::tx, .text = "O33 O32 O31 O30 O30 O31 "}}))
        lamps.push_back(line.substr(0, 9) + line.substr(textColumn));
    EXPECT_THAT(lamps, SizeIs(10));
    EXPECT_EQ(lamps.at(2), "    0.001\"O32 \"          lamp 32 off");
    EXPECT_THAT(lamps.at(3), HasSubstr("RTS high"));
    EXPECT_EQ(lamps.back(), "    0.003\"O31 \"          lamp 31 off");
}

TEST(Timeline, Circumstances_AreToldAndTheMultiplierIsTheRings) {
    EXPECT_THAT(shown({{.kind = Kind::setting, .name = "BeyondPlayMultiplier", .text = "2.0"},
                       {.kind = Kind::preference, .name = "HardwareConsoleEnabled", .text = "true"},
                       {.kind = Kind::map, .name = "/home/editor/my.toml", .text = "target = \"keys\"\n"},
                       {.kind = Kind::rx, .text = "V007 \\FF000000 "}}),
                ElementsAre("    0.000             setting   BeyondPlayMultiplier = 2.0",
                            "    0.000             prefer    HardwareConsoleEnabled = true",
                            "    0.000             map       /home/editor/my.toml, 16 bytes", HasSubstr("version 7"),
                            HasSubstr("(×19.45 forward)")));
    EXPECT_THAT(shown({{.kind = Kind::setting, .name = "BeyondPlayMultiplier", .text = "'2.0'"},
                       {.kind = Kind::rx, .text = "V007 \\FF000000 "}}),
                Contains(HasSubstr("(×11.71 forward)")));
}

TEST(Timeline, Message_LeftUnfinished_StandsWhereItsLastByteCame) {
    EXPECT_THAT(shown({{.at = 1ms, .kind = Kind::rx, .text = "V0"},
                       {.at = 2ms, .kind = Kind::tx, .text = "F2 "},
                       {.at = 3ms, .kind = Kind::rts}}),
                ElementsAre("    0.001             received  \"V0\"            unfinished",
                            "    0.002             sent      \"F2 \"           lamp 2 (stop) on", HasSubstr("RTS low")));
}

TEST(Timeline, BootMonitor_AfterAReset_IsReadAsText) {
    EXPECT_THAT(shown({{.kind = Kind::rts, .number = 0},
                       {.kind = Kind::rx, .text = "\r\nEPROM>"},
                       {.kind = Kind::tx, .text = "H "},
                       {.kind = Kind::rx, .text = "V4 monitor 1.0\r\n"}}),
                ElementsAre(HasSubstr("RTS low"), EndsWith("  received  \"\\r\\n\""),
                            EndsWith("  received  \"EPROM>\"        the boot monitor's prompt"),
                            EndsWith("  sent      \"H \"            which model?"),
                            EndsWith("  received  \"V4 monitor 1.0\\r\\n\"")));
}

TEST(Timeline, Text_OfSomebodyElse_CannotReachTheTerminal) {
    const std::string nasty = "\x1b]0;x\x07\n\r\x7f\xc2\x9b";
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte) everyByte += static_cast<char>(byte);
    std::string text =
        "{\"format\":\"cvhost serial recording\",\"version\":1,\"program\":\"\\u001b]0;x\\u0007\\n\\u009b\","
        "\"started\":\"\\u001b\\n\"}\n";
    for (const Kind kind : {Kind::opening, Kind::open, Kind::trouble, Kind::tx, Kind::rx, Kind::added, Kind::call}) {
        text += recording::lineFor(
            {.kind = kind, .port = nasty, .text = kind == Kind::tx ? everyByte : nasty, .line = {9600, 8, 'N', 1}});
    }
    std::string shownText;
    ::cvhost::timeline::writeTimeline(recording::Reader(text + "{"), false,
                                      [&](std::string_view line) { shownText += line; });
    text = shownText;
    for (const char c : text) EXPECT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7f)) << static_cast<int>(c);
    EXPECT_THAT(linesOf(text),
                testing::Each(testing::AnyOf(StartsWith("   "), StartsWith("Recorded by "), StartsWith("The recording "))));
}

TEST(Timeline, Colour_TakenAway_LeavesTheSameText) {
    const std::string recording = contentsOf(keysAndWheel);
    std::string coloured;
    for (const std::string& line : linesFor(recording, true)) coloured += line + "\n";
    EXPECT_THAT(coloured, HasSubstr("\x1b["));
    EXPECT_EQ(linesOf(std::regex_replace(coloured, std::regex("\x1b\\[[0-9]+m"), "")), linesFor(recording));
}

TEST_F(CvhostTimeline, Recordings_Kept_ShowEveryByteInOrderOfTime) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(RECORDINGS)) {
        SCOPED_TRACE(entry.path());
        ++count;
        const Lines lines = printed(entry.path());
        const Recording recording = recording::readFile(entry.path());
        EXPECT_EQ(bytesShown(lines, "sent"), plainBytesOf(recording, Kind::tx));
        EXPECT_EQ(bytesShown(lines, "received"), plainBytesOf(recording, Kind::rx));
        EXPECT_THAT(lines.back(), EndsWith(" is closed"));
        double last = 0;
        for (auto line = lines.begin() + 1; line != lines.end(); ++line) {
            EXPECT_GE(std::stod(*line), last) << *line;
            last = std::stod(*line);
        }
    }
    EXPECT_GE(count, 7);
}

TEST_F(CvhostTimeline, Recording_OfKeysAndWheel_HasTheseLines) {
    const Lines lines = printed(keysAndWheel);
    EXPECT_EQ(lines.at(0), "Recorded by cvhost 1.0.0, begun 2026-11-21T08:16:21Z");
    for (const char* line : {"    0.216    +205 ms  reset     RTS high, the console starts",
                             "    0.292             sent      \"J 0100 0\"      start the program at 0100",
                             "    1.256     +67 ms  received  \"\\C8000000 \"    ring +73 (×1.46 forward), wheel +0",
                             "    1.368             host      enable_wheel()",
                             "    1.535     +59 ms  received  \"\\7FFF1388 \"    ring 0 (stopped), wheel -1.5",
                             "    3.197             sent      \"O1 \" to \"O46 \"  lamps 1 to 46 off"}) {
        EXPECT_THAT(lines, Contains(line));
    }
}

TEST_F(CvhostTimeline, Example_InTheDocument_IsWhatIsPrinted) {
    const std::string page = contentsOf(RECORDINGS_PAGE);
    const std::size_t begin = page.find("```\nRecorded by ");
    ASSERT_NE(begin, page.npos);
    const Lines example = linesOf(page.substr(begin + 4, page.find("\n```", begin) - begin - 3));
    const Lines lines = printed(keysAndWheel);
    ASSERT_GT(example.size(), 10U);
    auto next = lines.begin();
    bool leftOut = false;
    for (const std::string& line : example) {
        if (line == "...") {
            leftOut = true;
            continue;
        }
        if (leftOut) next = std::find(next, lines.end(), line);
        leftOut = false;
        ASSERT_NE(next, lines.end()) << line;
        EXPECT_EQ(*next++, line);
    }
}

TEST_F(CvhostTimeline, Run_JustRecorded_IsShownToItsEnd) {
    Process host(cvhost({"--desk", "--events", "json", "--record", file(), "--set", "jog_wheel_gearing=0.5"}));
    waitFor(host, {{"event", "active"}});
    host.signal(SIGINT);
    ASSERT_EQ(host.wait(), 0) << host.errors();

    const Lines lines = printed(file());
    EXPECT_THAT(lines.at(0), StartsWith("Recorded by cvhost "));
    EXPECT_THAT(lines, Contains(MatchesRegex(" .*  port      rfc2217://[^ ]* opens: 9600 baud, 8N1")));
    EXPECT_THAT(lines, Contains(EndsWith("  received  \"V007 \"         version 7")));
    EXPECT_THAT(lines, Contains(EndsWith("  setting   jog_wheel_gearing = 0.5")));
    EXPECT_THAT(lines, Contains(EndsWith("  prefer    HardwareConsoleEnabled = true")));
    EXPECT_THAT(lines, Contains(EndsWith("  sent      \"O1 \" to \"O46 \"  lamps 1 to 46 off")));
    EXPECT_THAT(lines.back(), MatchesRegex(" .*  port      rfc2217://[^ ]* is closed"));
}

TEST_F(CvhostTimeline, Run_Killed_IsShownAndSaidToEndWithThePortOpen) {
    Process host(cvhost({"--desk", "--events", "json", "--record", file()}));
    waitFor(host, {{"event", "active"}});
    host.signal(SIGKILL);
    ASSERT_EQ(host.wait(), 128 + SIGKILL);

    const Lines lines = printed(file());
    EXPECT_THAT(lines, Contains(EndsWith("  received  \"V007 \"         version 7")));
    EXPECT_THAT(lines.back(), MatchesRegex("The recording ends while rfc2217://[^ ]* is open"));
}

TEST_F(CvhostTimeline, File_CutOffWithinALine_ShowsWhatIsWholeAndSaysSo) {
    const std::string whole = contentsOf(keysAndWheel);
    const Lines all = printed(keysAndWheel);
    const std::size_t cut = whole.find("\"event\":\"key\"");
    const Lines lines = printed(m_folder.write("cut.jsonl", whole.substr(0, cut)));
    ASSERT_GE(lines.size(), 3U);
    EXPECT_TRUE(std::equal(lines.begin(), lines.end() - 2, all.begin()));
    EXPECT_THAT(lines.at(lines.size() - 3), EndsWith("key E (code 5) pressed"));
    EXPECT_EQ(lines.at(lines.size() - 2), "The recording is cut off within a line, which is left out");
    EXPECT_EQ(lines.back(), "The recording ends while rfc2217://127.0.0.1:40199 is open");
}

TEST_F(CvhostTimeline, File_CutOffAnywhere_IsShownAsFarAsItIsWhole) {
    const std::string whole = contentsOf(keysAndWheel);
    for (std::size_t size = whole.find('\n') + 1; size < whole.size(); size += 41) {
        const std::string part = whole.substr(0, size);
        const Recording recording = recording::read(part);
        EXPECT_EQ(recording.cutShort, whole[size - 1] != '\n');
        const Lines lines = linesFor(part);
        EXPECT_EQ(bytesShown(lines, "sent"), plainBytesOf(recording, Kind::tx)) << size;
        EXPECT_EQ(bytesShown(lines, "received"), plainBytesOf(recording, Kind::rx)) << size;
        EXPECT_EQ(std::ranges::count(lines, "The recording is cut off within a line, which is left out"),
                  recording.cutShort ? 1 : 0);
    }
}

struct NoRecording {
    std::string name;
    std::string text;
    std::string says;
};

void PrintTo(const NoRecording& row, std::ostream* out) { *out << row.name; }

class CvhostTimelineOf : public CvhostTimeline, public testing::WithParamInterface<NoRecording> {};

TEST_P(CvhostTimelineOf, NoRecording_IsRefusedInOneSentence) {
    Process host(timeline(m_folder.write("file", GetParam().text)));
    EXPECT_EQ(host.wait(), 2);
    EXPECT_THAT(host.lines(), IsEmpty());
    EXPECT_THAT(host.errors(),
                MatchesRegex("cvhost: recording [^\n;]+/file, [^\n;]+; name a file that [^\n;]+ has made\\.\n"));
    EXPECT_THAT(host.errors(), HasSubstr(GetParam().says));
}

INSTANTIATE_TEST_SUITE_P(
    Files, CvhostTimelineOf,
    testing::Values(
        NoRecording{.name = "Empty", .text = "", .says = "it is empty"},
        NoRecording{.name = "Text", .text = "Dear support,\n", .says = "line 1: it is no JSON object"},
        NoRecording{.name = "Bytes", .text = std::string("\0\xff\x1b[31m\n\0", 9), .says = "line 1: it is no JSON object"},
        NoRecording{
            .name = "OtherJson", .text = "{\"format\":\"a song\"}\n", .says = "this is no recording of a serial port"},
        NoRecording{.name = "CutInItsFirstLine", .text = goodHeader.substr(0, 40), .says = "it ends within its first line"}),
    [](const auto& row) { return row.param.name; });

TEST_F(CvhostTimeline, File_WithDamagedLines_ShowsAllElseAndNamesThem) {
    const Lines whole = printed(keysAndWheel);
    const std::string text = contentsOf(keysAndWheel);
    const std::size_t second = text.find('\n') + 1;
    Process host(timeline(m_folder.write("damaged.jsonl", text.substr(0, second) + "{\"t\":0,\"ev\n" + text.substr(second) +
                                                              "\n" + std::string(120000, '[') + "\n")));
    EXPECT_EQ(host.wait(), 1);
    Lines lines = host.lines();
    ASSERT_EQ(lines.size(), whole.size() + 2);
    EXPECT_THAT(lines.at(1), EndsWith("  damaged   line 2: it is no JSON object"));
    EXPECT_THAT(lines.back(), MatchesRegex(".*  damaged   lines [0-9]+ to [0-9]+: it is no JSON object"));
    lines.pop_back();
    lines.erase(lines.begin() + 1);
    EXPECT_EQ(lines, whole);
    EXPECT_THAT(host.errors(),
                MatchesRegex("cvhost: recording [^\n]+, damaged lines: 2, [0-9]+ to [0-9]+; all else is shown\\.\n"));
}

TEST(Timeline, Version7After8_StatusThatTheDriverIgnores_IsCalledSo) {
    const Lines lines = shown({{.kind = Kind::rx, .text = "V008 L80000000 "},
                               {.kind = Kind::lost, .port = "x"},
                               {.kind = Kind::open, .port = "x"},
                               {.kind = Kind::tx, .text = "? "},
                               {.kind = Kind::rx, .text = "V007 \\C8000000 E "}});
    EXPECT_THAT(lines, Contains(EndsWith("ring +1 (stopped), wheel +0")));
    EXPECT_THAT(lines,
                Contains(EndsWith(
                    "ring +73, wheel +0; ignored: the driver knows another first letter, from the version told before")));
    EXPECT_THAT(lines, Contains(EndsWith("key E (code 5) pressed")));
}

TEST_F(CvhostTimeline, File_Missing_IsSaidInOneSentence) {
    Process host(timeline("/no/such\nfile"));
    EXPECT_EQ(host.wait(), 2);
    EXPECT_THAT(host.lines(), IsEmpty());
    EXPECT_EQ(host.errors(), "cvhost: cannot read /no/such\\nfile: No such file or directory.\n");
}

TEST_F(CvhostTimeline, File_IsAFolder_IsSaidInOneSentence) {
    Process host(timeline("/"));
    EXPECT_EQ(host.wait(), 2);
    EXPECT_EQ(host.errors(), "cvhost: cannot read /: Is a directory.\n");
}

TEST_F(CvhostTimeline, Output_DeviceFull_SaysSo) {
    Process::Setup setup = timeline(keysAndWheel);
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh"});
    Process host(setup);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), StartsWith("cvhost: cannot write to standard output: No space left on device; "));
}

TEST_F(CvhostTimeline, Output_ReaderHasLeft_EndsWithoutAWord) {
    const std::string pipe = m_folder.path() / "pipe";
    const std::string script = "mkfifo \"$0\"; exec 4<>\"$0\"; exec 3>\"$0\"; exec 4<&-; exec \"$@\" >&3";
    Process::Setup setup = timeline(keysAndWheel);
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", script, pipe});
    Process host(setup);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(host.errors(), IsEmpty());
}

}  // namespace
}  // namespace apps_test
