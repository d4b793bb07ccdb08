// How much memory the programs need for a recording of 10 MB: at most four times its size.

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <ostream>
#include <string>

#include "tests/apps/CvhostRig.h"
#include "tests/apps/WebClient.h"

namespace apps_test {
namespace {

constexpr std::size_t size = 10'000'000;
constexpr std::size_t most = 4;  // times the size

const std::string header =
    R"({"format":"cvhost serial recording","version":1,"program":"cvhost","started":"2026-01-31T12:34:56Z"})"
    "\n";

struct Content {
    const char* name;
    std::string first;
    std::string lines;  ///< again and again
};
void PrintTo(const Content& content, std::ostream* out) { *out << content.name; }

class RecordingMemory : public CvhostTest, public testing::WithParamInterface<Content> {
protected:
    void SetUp() override {
#ifndef PEAK_LIBRARY
        GTEST_SKIP() << "a sanitizer needs memory of its own";
#endif
    }

    std::string recording(std::size_t wanted) const {
        std::string text = header + GetParam().first + GetParam().lines;
        while (text.size() < wanted) text += GetParam().lines;
        return m_folder.write("recording.jsonl", text);
    }
    /// Bytes of memory at most, with a recording of this size.
    std::size_t timelinePeak(std::size_t wanted) const {
        Process::Setup setup = cvhost({recording(wanted)});
        setup.command.at(1) = "timeline";
        setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "exec \"$@\" >/dev/null", "sh"});
        Process host(watched(setup));
        EXPECT_EQ(host.wait(), 0) << host.errors();
        return peak();
    }
    /// The same while a host waits for all of it.
    std::size_t replayPeak(std::size_t wanted) const {
        Process desk(watched(cvdesk({"--rfc2217", "0", "--replay", recording(wanted)})));
        const std::string name = whereIs(desk);
        WebClient host(std::stoi(name.substr(name.rfind(':') + 1)));
        host.send("?");
        host.receive();
        desk.signal(SIGTERM);
        desk.wait();
        return peak();
    }

private:
    std::string peakFile() const { return m_folder.path() / "peak"; }
    Process::Setup watched(Process::Setup setup) const {
#ifdef PEAK_LIBRARY
        setup.environment["LD_PRELOAD"] = PEAK_LIBRARY;
#endif
        setup.environment["PEAK_FILE"] = peakFile();
        return setup;
    }
    std::size_t peak() const {
        std::size_t kilobytes = 0;
        std::string unit;
        std::ifstream(peakFile()) >> kilobytes >> unit;
        EXPECT_EQ(unit, "kB");
        std::filesystem::remove(peakFile());
        return kilobytes * 1024;
    }
};

TEST_P(RecordingMemory, Timeline_TakesAtMostFourTimesTheSize) {
    const std::size_t least = timelinePeak(0);
    EXPECT_LE(timelinePeak(size), least + most * size);
}

TEST_P(RecordingMemory, Replay_TakesAtMostFourTimesTheSize) {
    const std::size_t least = replayPeak(0);
    EXPECT_LE(replayPeak(size), least + most * size);
}

std::string bytesLine(const std::string& event, std::size_t count) {
    return R"({"t":1,"event":")" + event + R"(","bytes":")" + std::string(count, '#') + "\"}\n";
}

INSTANTIATE_TEST_SUITE_P(Contents, RecordingMemory,
                         testing::Values(Content{"PlainBytes", bytesLine("tx", 1), bytesLine("rx", 4096)},
                                         Content{"ShortestEvents", "", bytesLine("tx", 1) + bytesLine("rx", 1)},
                                         Content{"Losses", bytesLine("tx", 1) + bytesLine("rx", 1),
                                                 R"({"t":1,"event":"lost","port":""})"
                                                 "\n"}),
                         [](const auto& content) { return content.param.name; });

}  // namespace
}  // namespace apps_test
