// The recordings' format: what is written is read again, and what is no recording is refused.
#include "apps/recording/Recording.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <system_error>

#include "apps/recording/Recorder.h"

namespace {

using namespace std::chrono_literals;
using recording::Event;
using recording::Recording;
using testing::HasSubstr;
using testing::StartsWith;
using Kind = Event::Kind;

const std::string header = recording::headerLine("a program", std::chrono::system_clock::time_point(1'700'000'000s));

Recording readText(const std::string& text) { return recording::read(text); }

/// What is wrong with `text`; empty when nothing is.
std::string problemWith(const std::string& text) {
    try {
        readText(text);
    } catch (const recording::Error& error) {
        return error.what();
    }
    return {};
}

std::string everyByte() {
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    return all;
}

/// A path that goes when the object goes; nothing is there at first.
class Path {
public:
    Path() {
        std::string folder = "/tmp/recording-test-XXXXXX";
        if (::mkdtemp(folder.data()) == nullptr) throw std::system_error(errno, std::generic_category(), folder);
        m_folder = folder;
    }
    Path(const Path&) = delete;
    Path& operator=(const Path&) = delete;
    ~Path() {
        ::unlink(path().c_str());
        ::rmdir(m_folder.c_str());
    }
    std::string path() const { return m_folder + "/file"; }

private:
    std::string m_folder;
};

TEST(Recording, Header_Written_SaysWhatAndWhen) {
    EXPECT_EQ(header,
              "{\"format\":\"cvhost serial recording\",\"version\":1,\"program\":\"a program\","
              "\"started\":\"2023-11-14T22:13:20Z\"}\n");
    const Recording read = readText(header);
    EXPECT_EQ(read.program, "a program");
    EXPECT_EQ(read.started, "2023-11-14T22:13:20Z");
    EXPECT_TRUE(read.events.empty());
    EXPECT_FALSE(read.cutShort);
}

TEST(Recording, EveryKindOfEvent_WrittenAndRead_IsTheSame) {
    const std::vector<Event> events{
        {.at = 0us, .kind = Kind::opening, .port = "/dev/x", .line = {9600, 8, 'N', 1}},
        {.at = 1us, .kind = Kind::trouble, .port = "/dev/x", .text = "cannot be opened: it is \"busy\""},
        {.at = 2us, .kind = Kind::open, .port = "/dev/x"},
        {.at = 2us, .kind = Kind::rts, .number = 1},
        {.at = 3us, .kind = Kind::tx, .text = "J 0100 0\r"},
        {.at = 4us, .kind = Kind::rx, .text = everyByte()},
        {.at = 4us, .kind = Kind::added, .text = "\x18 "},
        {.at = 5us, .kind = Kind::call, .text = "lamp_set", .arguments = {5, -1}},
        {.at = 6us, .kind = Kind::key, .number = 28},
        {.at = 6us, .kind = Kind::setting, .name = "console_port", .text = "'/dev/x'"},
        {.at = 6us, .kind = Kind::preference, .name = "HardwareConsoleEnabled", .text = "true"},
        {.at = 6us, .kind = Kind::map, .name = "/maps/own.toml", .text = "[map]\n# \"κλειδί\"\n"},
        {.at = 7us, .kind = Kind::lost, .port = "/dev/x"},
        {.at = 86'400s, .kind = Kind::closed, .port = "/dev/x"},
    };
    std::string text = header;
    for (const Event& event : events) text += recording::lineFor(event);
    const Recording read = readText(text);
    ASSERT_EQ(read.events.size(), events.size());
    for (std::size_t i = 0; i < events.size(); ++i) {
        const Event& expected = events[i];
        const Event& found = read.events[i];
        EXPECT_EQ(found.at, expected.at) << i;
        EXPECT_EQ(found.kind, expected.kind) << i;
        EXPECT_EQ(found.port, expected.port) << i;
        EXPECT_EQ(found.name, expected.name) << i;
        EXPECT_EQ(found.text, expected.text) << i;
        EXPECT_EQ(found.number, expected.number) << i;
        EXPECT_EQ(found.arguments, expected.arguments) << i;
    }
    EXPECT_EQ(read.events[0].line.baud, 9600);
    EXPECT_EQ(read.events[0].line.dataBits, 8);
    EXPECT_EQ(read.events[0].line.parity, 'N');
    EXPECT_EQ(read.events[0].line.stopBits, 1);
}

TEST(Recording, Lines_AreAsTheDocumentationShowsThem) {
    EXPECT_EQ(recording::lineFor({.at = 1234us, .kind = Kind::rx, .text = "\r\nEPROM>\xFF"}),
              "{\"t\":1234,\"event\":\"rx\",\"bytes\":\"\\r\\nEPROM>\\u00ff\"}\n");
    EXPECT_EQ(recording::lineFor({.at = 0us, .kind = Kind::opening, .port = "/dev/ttyUSB0", .line = {9600, 8, 'N', 1}}),
              "{\"t\":0,\"event\":\"opening\",\"port\":\"/dev/ttyUSB0\",\"baud\":9600,\"data_bits\":8,\"parity\":\"N\","
              "\"stop_bits\":1}\n");
    EXPECT_EQ(recording::lineFor({.at = 5us, .kind = Kind::call, .text = "lamp_set", .arguments = {5, 70}}),
              "{\"t\":5,\"event\":\"call\",\"name\":\"lamp_set\",\"arguments\":[5,70]}\n");
}

TEST(Recording, Lines_EveryCharacter_IsAsAJsonLibraryWritesIt) {
    const auto written = [](const std::string& utf8) {
        return nlohmann::json(utf8).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "}\n";
    };
    std::string utf8;
    for (const char c : everyByte()) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80) utf8 += static_cast<char>(0xC0 | byte >> 6);
        utf8 += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
    }
    EXPECT_EQ(recording::lineFor({.at = 4us, .kind = Kind::rx, .text = everyByte()}),
              "{\"t\":4,\"event\":\"rx\",\"bytes\":" + written(utf8));
    for (const std::string& port : {everyByte().substr(0, 128), std::string("/dev/κλειδί😀"), std::string("a\xFF\xC3z")}) {
        EXPECT_EQ(recording::lineFor({.at = 4us, .kind = Kind::open, .port = port}),
                  "{\"t\":4,\"event\":\"open\",\"port\":" + written(port));
    }
}

TEST(Recording, TextThatIsNotUtf8_IsWrittenAllTheSame) {
    const std::string line = recording::lineFor({.at = 0us, .kind = Kind::open, .port = "/dev/\xFF"});
    EXPECT_EQ(readText(header + line).events.size(), 1U);
}

TEST(Recording, EndWithinALine_IsLeftOutAndSaid) {
    const std::string line = recording::lineFor({.at = 1us, .kind = Kind::rx, .text = "E "});
    for (std::size_t length = 1; length < line.size(); ++length) {
        const Recording read = readText(header + line + line.substr(0, length));
        EXPECT_EQ(read.events.size(), 1U) << length;
        EXPECT_TRUE(read.cutShort) << length;
    }
    EXPECT_FALSE(readText(header + line).cutShort);
}

TEST(Recording, LinesAndMembersOfLaterPrograms_AreSkipped) {
    const Recording read = readText(header + "{\"t\":1,\"event\":\"weather\"}\n" +
                                    "{\"t\":2,\"event\":\"rts\",\"level\":1,\"mood\":[[[1]]]}\n");
    ASSERT_EQ(read.events.size(), 1U);
    EXPECT_EQ(read.events[0].kind, Kind::rts);
}

std::string zeros(int count) {
    std::string list = "0";
    for (int i = 1; i < count; ++i) list += ",0";
    return list;
}

struct Wrong {
    std::string text;
    std::string problem;
};
void PrintTo(const Wrong& wrong, std::ostream* out) { *out << wrong.problem; }

class RecordingWrong : public testing::TestWithParam<Wrong> {};

TEST_P(RecordingWrong, Read_IsRefusedWithLineAndReason) {
    EXPECT_THAT(problemWith(GetParam().text), StartsWith(GetParam().problem));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, RecordingWrong,
    testing::Values(
        Wrong{.text = "", .problem = "it is empty"},
        Wrong{.text = "{\"format\"", .problem = "it ends within its first line"},
        Wrong{.text = "\n", .problem = "line 1: it is no JSON"},
        Wrong{.text = "[1]\n", .problem = "line 1: it is no JSON object"},
        Wrong{.text = "{}\n", .problem = "line 1: \"format\" must be a text"},
        Wrong{.text = "{\"format\":\"other\"}\n", .problem = "line 1: this is no recording"},
        Wrong{.text = "{\"format\":\"cvhost serial recording\",\"version\":2}\n",
              .problem = "line 1: the format's version is 2"},
        Wrong{.text = "{\"format\":\"cvhost serial recording\",\"version\":0}\n", .problem = "line 1: \"version\" must be"},
        Wrong{.text = header + "\n", .problem = "line 2: it is no JSON object"},
        Wrong{.text = header + "{\"t\":1}\n", .problem = "line 2: \"event\" must be"},
        Wrong{.text = header + "{\"t\":-1,\"event\":\"rts\",\"level\":1}\n", .problem = "line 2: \"t\" must be"},
        Wrong{.text = header + "{\"t\":18446744073709551615,\"event\":\"rts\",\"level\":1}\n",
              .problem = "line 2: \"t\" must be"},
        Wrong{.text = header + "{\"t\":1.5,\"event\":\"rts\",\"level\":1}\n", .problem = "line 2: \"t\" must be"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"rts\",\"level\":2}\n", .problem = "line 2: \"level\" must be"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"rx\"}\n", .problem = "line 2: \"bytes\" must be a text"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"rx\",\"bytes\":\"\\u0100\"}\n", .problem = "line 2: bytes must be"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"open\",\"port\":7}\n", .problem = "line 2: \"port\" must be a text"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"call\",\"name\":\"exit\"}\n",
              .problem = "line 2: \"arguments\" must be"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"call\",\"name\":\"exit\",\"arguments\":[4294967296]}\n",
              .problem = "line 2: \"arguments\""},
        Wrong{.text = header + "{\"t\":1,\"event\":\"opening\",\"port\":\"x\",\"baud\":0,\"data_bits\":8,\"parity\":\"N\","
                               "\"stop_bits\":1}\n",
              .problem = "line 2: \"baud\" must be"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"opening\",\"port\":\"x\",\"baud\":1,\"data_bits\":8,\"parity\":\"\","
                               "\"stop_bits\":1}\n",
              .problem = "line 2: \"parity\" must be"},
        Wrong{.text = header + recording::lineFor({.at = 2us, .kind = Kind::rts}) +
                      recording::lineFor({.at = 1us, .kind = Kind::rts}),
              .problem = "line 3: time runs backwards"},
        Wrong{.text = header + std::string(300 * 1024, '[') + "\n", .problem = "line 2: the line is too long"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"call\",\"name\":\"exit\",\"arguments\":" + std::string(120'000, '[') +
                      std::string(120'000, ']') + "}\n",
              .problem = "line 2: \"arguments\" must be whole numbers"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"rts\",\"level\":1,\"mood\":" + std::string(100, '[') +
                      std::string(100, ']') + "}\n",
              .problem = "line 2: its values are nested too deep"},
        Wrong{.text = header + "{\"t\":1,\"event\":\"call\",\"name\":\"exit\",\"arguments\":[" + zeros(65) + "]}\n",
              .problem = "line 2: there are more than 64 arguments"},
        Wrong{.text = header + std::string(200UL * 1024, '[') + "\n", .problem = "line 2: it is no JSON object"}));

/// What a reader gives: events by the numbers in them, damage by its text.
std::vector<std::string> items(const std::string& text) {
    std::vector<std::string> found;
    recording::Reader reader(text);
    while (const auto item = reader.next()) {
        const auto* event = std::get_if<Event>(&*item);
        found.push_back(event != nullptr ? "t " + std::to_string(event->at.count())
                                         : std::get<recording::Damage>(*item).text());
    }
    return found;
}

std::string rtsAt(int time) { return recording::lineFor({.at = std::chrono::microseconds(time), .kind = Kind::rts}); }

TEST(RecordingReader, DamagedLines_AreNamedAndAllElseIsRead) {
    EXPECT_THAT(items(header + rtsAt(1) + "\n" + rtsAt(2) + "{\n{\n{}\n" + rtsAt(3) + "[\n"),
                testing::ElementsAre("t 1", "line 3: it is no JSON object", "t 2", "lines 5 to 6: it is no JSON object",
                                     "line 7: \"event\" must be a text", "t 3", "line 9: it is no JSON object"));
}

TEST(RecordingReader, TimeThatRunsBackwards_IsNamedAndTheEventIsRead) {
    EXPECT_THAT(items(header + rtsAt(9) + rtsAt(2) + rtsAt(3)),
                testing::ElementsAre("t 9", "line 3: time runs backwards", "t 2", "t 3"));
}

TEST(RecordingReader, FirstLineDamaged_EventsAreRead) {
    for (const std::string first :
         {"", "{\"format\":\"cvhost seri", "{\"format\":\"cvhost serial recording\",\"version\":0}"}) {
        const std::string text = first + "\n" + rtsAt(1);
        EXPECT_THAT(items(text), testing::ElementsAre(StartsWith("line 1: "), "t 1")) << first;
        EXPECT_EQ(recording::Reader(text).program(), "");
    }
    EXPECT_THAT(problemWith("{\"format\":\"other\"}\n" + rtsAt(1)), StartsWith("line 1: this is no recording"));
    EXPECT_THAT(problemWith("\n\n{}\n"), StartsWith("line 1: it is no JSON object")) << "no event";
}

TEST(RecordingReader, FileWithoutEnd_IsRefused) { EXPECT_THROW(recording::textOf("/dev/zero"), recording::Error); }

TEST(Recording, FileThatIsNotThere_IsSaid) {
    EXPECT_THROW(recording::readFile("/no/such/file"), std::system_error);
    EXPECT_THROW(recording::readFile("/"), std::system_error);
}

TEST(Recorder, Events_AreInTheFileAtOnce) {
    const Path path;
    recording::Recorder recorder(path.path(), "a program");
    EXPECT_TRUE(recording::readFile(path.path()).events.empty());
    recorder(cvhost::PortOpening{"/dev/x", {9600, 8, 'N', 1}});
    recorder(cvhost::PortChange{"/dev/x", cvhost::PortState::open});
    recorder(cvhost::RtsChange{0});
    const std::array<unsigned char, 2> bytes{'E', ' '};
    recorder(cvhost::LineBytes{cvhost::Direction::receive, bytes});
    recorder(cvhost::LineBytes{cvhost::Direction::transmit, bytes});
    recorder(cvhost::AddedBytes{bytes});
    recorder(cvhost::KeyQueued{5, true, 1536});
    const std::array arguments{1, int{'F'}};
    recorder(cvhost::ConsoleCall{"lamp_set", arguments});
    recorder(cvhost::PortTrouble{
        .name = "/dev/x", .kind = cvhost::PortTrouble::Kind::lost, .error = EIO, .reason = "input/output error"});
    recorder(cvhost::PortChange{"/dev/x", cvhost::PortState::lost});
    recorder(cvhost::PortChange{"/dev/x", cvhost::PortState::closed});
    std::vector<Kind> kinds;
    for (const Event& event : recording::readFile(path.path()).events) kinds.push_back(event.kind);
    EXPECT_EQ(kinds, (std::vector{Kind::opening, Kind::open, Kind::rts, Kind::rx, Kind::tx, Kind::added, Kind::key,
                                  Kind::call, Kind::trouble, Kind::lost, Kind::closed}));
    EXPECT_EQ(recorder.error(), 0);
}

/// Why no recording can be made there.
int refusal(const std::string& path) {
    try {
        const recording::Recorder recorder(path, "");
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Recorder, FileThatCannotBeMade_IsSaid) { EXPECT_EQ(refusal("/no/such/file"), ENOENT); }

TEST(Recorder, FileThatExists_IsRefusedAndKept) {
    const Path path;
    std::ofstream(path.path()) << "a letter";
    EXPECT_EQ(refusal(path.path()), EEXIST);
    EXPECT_EQ(contentsOf(path.path()), "a letter");
    EXPECT_EQ(refusal("/dev/full"), EEXIST) << "a device";
}

TEST(Recorder, LinkThatLeadsNowhere_IsRefused) {
    const Path path;
    ASSERT_EQ(::symlink((path.path() + "-target").c_str(), path.path().c_str()), 0);
    EXPECT_EQ(refusal(path.path()), EEXIST);
    EXPECT_NE(::access((path.path() + "-target").c_str(), F_OK), 0);
}

TEST(Recorder, FileOfAnotherRecorder_IsRefusedAndGoesOn) {
    const Path path;
    recording::Recorder first(path.path(), "first");
    EXPECT_EQ(refusal(path.path()), EEXIST);
    first(cvhost::RtsChange{1});
    EXPECT_EQ(recording::readFile(path.path()).events.size(), 1U);
    EXPECT_EQ(recording::readFile(path.path()).program, "first");
}

TEST(Recorder, File_IsLocked) {
    const Path path;
    const recording::Recorder recorder(path.path(), "");
    const int other = ::open(path.path().c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(other, 0);
    EXPECT_NE(::flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(errno, EWOULDBLOCK);
    ::close(other);
}

TEST(Recorder, Folder_GetsANewFileForEach) {
    const Path path;
    ASSERT_EQ(::mkdir(path.path().c_str(), 0700), 0);
    std::vector<std::string> names;
    for (const std::string& folder : {path.path(), path.path() + "/", path.path()}) {
        recording::Recorder recorder(folder, "");
        recorder(cvhost::RtsChange{1});
        names.push_back(recorder.path());
        EXPECT_THAT(recorder.path(), testing::MatchesRegex(path.path() + "/cvhost-[0-9]{8}T[0-9]{6}Z(-[0-9])?\\.jsonl"));
        EXPECT_EQ(recording::readFile(recorder.path()).events.size(), 1U);
    }
    std::ranges::sort(names);
    EXPECT_EQ(std::ranges::adjacent_find(names), names.end());
    for (const std::string& name : names) ::unlink(name.c_str());
    ::rmdir(path.path().c_str());
}

TEST(Recorder, NoEvent_LeavesNoFile) {
    const Path path;
    {
        const recording::Recorder recorder(path.path(), "");
    }
    EXPECT_NE(::access(path.path().c_str(), F_OK), 0);
}

TEST(Recorder, SettingsAlone_LeaveNoFile) {
    const Path path;
    {
        recording::Recorder recorder(path.path(), "");
        recorder(cvhost::Circumstance{cvhost::Circumstance::Kind::setting, "console_debug", "1"});
    }
    EXPECT_NE(::access(path.path().c_str(), F_OK), 0);
}

TEST(Recorder, LongMap_IsCutSoThatItCanBeRead) {
    const Path path;
    {
        recording::Recorder recorder(path.path(), "");
        recorder(cvhost::Circumstance{cvhost::Circumstance::Kind::map, "own.toml", std::string(1 << 20, '\x01')});
        recorder(cvhost::RtsChange{1});
    }
    const Recording read = recording::readFile(path.path());
    ASSERT_EQ(read.events.size(), 2U);
    EXPECT_EQ(read.events[0].text, std::string(20 << 10, '\x01'));
}

TEST(Recorder, NoEventAndAnotherFileOfTheName_LeavesThatFile) {
    const Path path;
    {
        const recording::Recorder recorder(path.path(), "");
        ::unlink(path.path().c_str());
        std::ofstream(path.path()) << "a letter";
    }
    EXPECT_EQ(contentsOf(path.path()), "a letter");
}

TEST(Recorder, FullDevice_EndsTheRecordingWithItsReason) {
    recording::Recorder recorder(::open("/dev/full", O_WRONLY | O_CLOEXEC), "");
    EXPECT_EQ(recorder.error(), ENOSPC);
    recorder.finish();
    EXPECT_EQ(recorder.error(), ENOSPC);
}

TEST(Recorder, PipeThatNobodyReads_HoldsNobodyUp) {
    const Path path;
    ASSERT_EQ(::mkfifo(path.path().c_str(), 0600), 0);
    EXPECT_EQ(refusal(path.path()), ENXIO) << "nobody has it open";
}

TEST(Recorder, PipeThatSomebodyReads_IsWrittenTo) {
    const Path path;
    ASSERT_EQ(::mkfifo(path.path().c_str(), 0600), 0);
    const int reader = ::open(path.path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    {
        recording::Recorder recorder(path.path(), "a program");
        recorder.finish();
        EXPECT_EQ(recorder.error(), 0);
    }
    std::string text(4096, ' ');
    const ssize_t count = ::read(reader, text.data(), text.size());
    ::close(reader);
    ASSERT_GT(count, 0);
    EXPECT_EQ(readText(text.substr(0, static_cast<std::size_t>(count))).program, "a program");
}

}  // namespace
