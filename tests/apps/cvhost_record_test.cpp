// Recordings of a run: what is in them, and that they outlive the program.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "apps/recording/Recording.h"
#include "host/core/FileDescriptor.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using recording::Event;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using Kind = Event::Kind;

class CvhostRecord : public CvhostTest {
protected:
    std::string file() const { return m_folder.path() / "recording.jsonl"; }
    /// cvhost with an embedded desk, recorded, all of the wire in its events.
    Process::Setup recorded() const { return cvhost({"--desk", "--events", "json", "--wire", "--record", file()}); }
};

std::string bytesOf(const recording::Recording& recording, Kind kind) {
    std::string bytes;
    for (const Event& event : recording.events) {
        if (event.kind == kind) bytes += event.text;
    }
    return bytes;
}

/// What there is of `whats` in the recording, in order.
std::vector<Kind> order(const recording::Recording& recording, const std::vector<Kind>& whats) {
    std::vector<Kind> found;
    for (const Event& event : recording.events) {
        if (std::ranges::find(whats, event.kind) != whats.end()) found.push_back(event.kind);
    }
    return found;
}

TEST_F(CvhostRecord, Run_Ended_HasEverythingThatWentOverTheWire) {
    Process host(recorded());
    waitForAll(host, {{{"event", "active"}}, {{"event", "wire"}, {"dir", "tx"}, {"bytes", "X "}}});
    host.signal(SIGINT);
    ASSERT_EQ(host.wait(), 0) << host.errors();

    const recording::Recording recorded = recording::readFile(file());
    EXPECT_FALSE(recorded.cutShort);
    EXPECT_THAT(recorded.program, HasSubstr("cvhost"));
    EXPECT_EQ(bytesOf(recorded, Kind::tx), wire(host, "tx"));
    EXPECT_EQ(bytesOf(recorded, Kind::rx), wire(host, "rx"));
    EXPECT_EQ(order(recorded, {Kind::opening, Kind::open, Kind::lost, Kind::closed}),
              (std::vector{Kind::opening, Kind::open, Kind::closed}));
    EXPECT_EQ(order(recorded, {Kind::rts}).size(), events(host, {{"event", "rts"}}).size());
    ASSERT_FALSE(recorded.events.empty());
    const auto opening = std::ranges::find(recorded.events, Kind::opening, &Event::kind);
    EXPECT_THAT(opening->port, HasSubstr("rfc2217://"));
    EXPECT_EQ(opening->line.baud, 9600);
    EXPECT_EQ(opening->line.parity, 'N');
}

TEST_F(CvhostRecord, Run_Killed_LeavesAllThatHadHappened) {
    Process host(recorded());
    waitForAll(host, {{{"event", "active"}}, {{"event", "wire"}, {"dir", "tx"}, {"bytes", "X "}}});
    host.signal(SIGKILL);
    ASSERT_EQ(host.wait(), 128 + SIGKILL);

    const recording::Recording recorded = recording::readFile(file());
    EXPECT_FALSE(recorded.cutShort);
    EXPECT_THAT(bytesOf(recorded, Kind::rx), EndsWith("V007 "));
    EXPECT_THAT(bytesOf(recorded, Kind::tx), EndsWith("X "));
}

TEST_F(CvhostRecord, Run_KilledAtAnyMoment_LeavesWholeLines) {
    for (int pieces = 1; pieces <= 6; ++pieces) {
        std::filesystem::remove(file());
        Process host(recorded());
        int seen = 0;
        host.waitForLine([&](const std::string& line) {
            seen += Json::parse(line).at("event") == "wire";
            return seen == pieces * 3;
        });
        host.signal(SIGKILL);
        ASSERT_EQ(host.wait(), 128 + SIGKILL);
        const recording::Recording recorded = recording::readFile(file());
        EXPECT_FALSE(recorded.cutShort);
        EXPECT_GE(order(recorded, {Kind::tx, Kind::rx}).size(), static_cast<std::size_t>(seen));
    }
}

TEST_F(CvhostRecord, Run_PortMissing_SaysWhatWasTriedAndWhy) {
    Process host(cvhost({"--port", "/dev/no-such-port", "--events", "json", "--record", file()}));
    waitFor(host, {{"event", "log"}, {"text", "cannot open /dev/no-such-port: no such file or directory\n"}});
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
    const recording::Recording recorded = recording::readFile(file());
    ASSERT_GE(recorded.events.size(), 2U);
    const auto trouble = std::ranges::find(recorded.events, Kind::trouble, &Event::kind);
    ASSERT_NE(trouble, recorded.events.end());
    EXPECT_EQ(trouble->port, "/dev/no-such-port");
    EXPECT_EQ(trouble->text, "cannot be opened: no such file or directory");
}

TEST_F(CvhostRecord, FileThatCannotBeMade_IsSaidBeforeAnythingIsTouched) {
    Process host(cvhost({"--desk", "--events", "json", "--record", "/no/such/file"}));
    EXPECT_EQ(host.wait(), 2);
    EXPECT_EQ(host.errors(),
              "cvhost: cannot make the recording /no/such/file: No such file or directory; name a file that does not exist "
              "yet, or a folder, with --record.\n");
    EXPECT_THAT(host.lines(), IsEmpty());
}

TEST_F(CvhostRecord, FileThatExists_IsRefusedAndKept) {
    const std::string letter = m_folder.write("letter.txt", "Dear support,\n");
    Process host(cvhost({"--desk", "--events", "json", "--record", letter}));
    EXPECT_EQ(host.wait(), 2);
    EXPECT_THAT(host.errors(), HasSubstr("letter.txt: File exists; name a file that does not exist yet, or a folder"));
    EXPECT_THAT(host.lines(), IsEmpty());
    EXPECT_EQ(std::filesystem::file_size(letter), 14U);
}

TEST_F(CvhostRecord, FileOfAnotherRun_IsRefusedAndThatRunGoesOn) {
    Process first(recorded());
    waitFor(first, {{"event", "active"}});
    Process second(recorded());
    EXPECT_EQ(second.wait(), 2);
    first.signal(SIGINT);
    EXPECT_EQ(first.wait(), 0) << first.errors();
    EXPECT_EQ(bytesOf(recording::readFile(file()), Kind::tx), wire(first, "tx"));
}

TEST_F(CvhostRecord, Folder_GetsAFileWhoseNameIsSaid) {
    const std::string folder = m_folder.path() / "recordings";
    std::filesystem::create_directory(folder);
    Process host(cvhost({"--desk", "--events", "json", "--record", folder}));
    waitFor(host, {{"event", "active"}});
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0);
    const auto made = std::filesystem::directory_iterator(folder)->path();
    EXPECT_THAT(host.errors(), HasSubstr("cvhost: the recording is " + made.string() + "\n"));
    EXPECT_THAT(bytesOf(recording::readFile(made), Kind::rx), HasSubstr("V007 "));
}

TEST_F(CvhostRecord, RunThatFailsAtOnce_LeavesNoFileInTheWayOfTheNext) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    const std::string name = whereIs(desk);
    const std::string takenPort = name.substr(name.rfind(':') + 1);
    Process host(cvhost({"--desk", "--web", takenPort, "--record", file()}));
    EXPECT_EQ(host.wait(), 1);
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(CvhostRecord, PipeWhoseReaderEnds_IsSaidAndTheRunGoesOn) {
    ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
    cvhost::FileDescriptor reader(::open(file().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    Process host(recorded());
    waitFor(host, {{"event", "active"}});
    reader = {};
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("the recording ends here: Broken pipe; have its reader read to the end"));
}

TEST_F(CvhostRecord, DiskThatIsFull_IsSaidAndTheRunGoesOnAndEndsWithOne) {
    Process::Setup setup = recorded();
    // A file that may not grow stands in for a disk without room.
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 2; exec \"$@\"", "sh"});
    Process host(setup);
    waitFor(host, {{"event", "active"}});
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("cvhost: the recording ends here: File too large; make room for it"));
    EXPECT_LE(std::filesystem::file_size(file()), 1024U);
}

}  // namespace
}  // namespace apps_test
