// Where the log's texts go.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "host/api/Log.h"
#include "host/core/Log.h"
#include "host/linux/LogOutput.h"
#include "tests/unit/host/HostRig.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

constexpr const char* s_log = "cvhost/cvhost.log";

class LogOutput : public testing::Test {
protected:
    void SetUp() override { cvhost::setLogDestinations({.standardError = false, .file = true}); }
    void TearDown() override { cvhost::setLogDestinations({.standardError = true, .file = false}); }

    Folder folder;
    Variable state{"XDG_STATE_HOME", folder.path().c_str()};
};

}  // namespace

TEST_F(LogOutput, File_HasEachLineWithItsTime) {
    LogBoth("one ");
    LogBoth("line\nsecond\n");
    EXPECT_THAT(folder.read(s_log).value(), testing::MatchesRegex("[0-9-]+T[0-9:.]+Z one line\n[0-9-]+T[0-9:.]+Z second\n"));
}

TEST_F(LogOutput, File_LiesInTheHomeFolderOtherwise) {
    const Variable none("XDG_STATE_HOME", nullptr);
    const Variable home("HOME", folder.path().c_str());
    LogBoth("at home\n");
    EXPECT_THAT(folder.read(".local/state/cvhost/cvhost.log").value(), HasSubstr("at home"));
}

TEST_F(LogOutput, File_IsAppendedToAndBeginsAnewAtItsLimit) {
    folder.write(s_log, std::string((1 << 20) - 200, 'x') + "\n");
    LogBoth("nearly full\n");
    EXPECT_FALSE(folder.read("cvhost/cvhost.log.1"));
    LogBoth("%s\n", std::string(300, 'y').c_str());
    EXPECT_FALSE(folder.read(s_log));
    EXPECT_THAT(folder.read("cvhost/cvhost.log.1").value(), HasSubstr("nearly full\n"));
    LogBoth("begun anew\n");
    EXPECT_THAT(folder.read(s_log).value(), testing::EndsWith("begun anew\n"));
    EXPECT_LT(folder.read(s_log).value().size(), 100U);
}

TEST_F(LogOutput, FileRenamedByAnotherProcess_IsLeftToIt) {
    LogBoth("mine\n");
    std::filesystem::rename(folder.path(s_log), folder.path("cvhost/cvhost.log.1"));
    folder.write(s_log, "another's\n");
    for (int i = 0; i < 1100; ++i) LogBoth("%s\n", std::string(1000, 'z').c_str());
    EXPECT_THAT(folder.read("cvhost/cvhost.log.1").value(), testing::ContainsRegex("mine\n"));
    EXPECT_THAT(folder.read(s_log).value(), testing::StartsWith("another's\n"));
}

TEST_F(LogOutput, FileThatCannotBeOpened_IsSaidOnce) {
    folder.write("cvhost", "in the way");
    CaptureStderr();
    LogBoth("one\n");
    LogBoth("two\n");
    const std::string said = GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("cannot write the log file " + folder.path(s_log)));
    EXPECT_EQ(said.find("cannot write"), said.rfind("cannot write"));
}

TEST_F(LogOutput, WithoutAHome_ThereIsNoFileAndNothingIsSaid) {
    const Variable none("XDG_STATE_HOME", nullptr);
    const Variable home("HOME", nullptr);
    CaptureStderr();
    LogBoth("nowhere\n");
    EXPECT_EQ(GetCapturedStderr(), "");
}

TEST_F(LogOutput, FileThatIsAPipe_DoesNotHoldAnybodyUp) {
    std::filesystem::create_directories(folder.path("cvhost"));
    ASSERT_EQ(::mkfifo(folder.path(s_log).c_str(), 0600), 0);
    CaptureStderr();
    LogBoth("one\n");
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot write the log file"));
}

TEST_F(LogOutput, RepeatsNotWritten_EachTextIsWrittenOnce) {
    const auto texts = [&] {
        std::string all;
        for (const char letter : folder.read(s_log).value_or("")) {
            all += letter;
            if (all.ends_with("Z ")) all.erase(all.rfind('\n') + 1);
        }
        return all;
    };
    cvhost::setLogRepeats(false);
    for (int round = 0; round < 3; ++round) {
        LogBoth("looking\n");
        LogBoth("nothing there\n");
    }
    LogBoth("no right\n");
    LogBoth("looking\n");
    EXPECT_EQ(texts(), "looking\nnothing there\nno right\n");
    cvhost::setLogRepeats(true);
    for (int round = 0; round < 2; ++round) LogBoth("again\n");
    EXPECT_EQ(texts(), "looking\nnothing there\nno right\nagain\nagain\n");
    cvhost::setLogRepeats(false);
    LogBoth("looking\n");
    cvhost::setLogRepeats(true);
    EXPECT_EQ(texts(), "looking\nnothing there\nno right\nagain\nagain\nlooking\n") << "it may be said once more";
}

TEST_F(LogOutput, LineNoise_IsShownAndDoesNothing) {
    cvhost::setLogDestinations({.standardError = true, .file = false});
    CaptureStderr();
    LogBoth("a\x1b[2J\x7f\t%c\xFF\xC3\xA9\xC2\x9B|\n", 0);
    EXPECT_EQ(GetCapturedStderr(), "a\\x1b[2J\\x7f\t\\x00\\xff\xC3\xA9\\xc2\\x9b|\n");
}

TEST_F(LogOutput, Sink_HasTheTextAsItIs) {
    Recorder recorder;
    LogBoth("\x1b\xFF");
    EXPECT_THAT(recorder.texts, ElementsAre("\x1b\xFF"));
}

TEST_F(LogOutput, StandardErrorThatNobodyReads_HoldsNobodyUp) {
    cvhost::setLogDestinations({.standardError = true, .file = false});
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const int before = ::dup(STDERR_FILENO);
    ::dup2(pipe[1], STDERR_FILENO);
    for (int i = 0; i < 200; ++i) LogBoth("%s\n", std::string(1000, 's').c_str());
    ::dup2(before, STDERR_FILENO);
    for (const int descriptor : {before, pipe[0], pipe[1]}) ::close(descriptor);
    LogBoth("%s", "");  // standard error takes texts again
    CaptureStderr();
    LogBoth("readable\n");
    EXPECT_EQ(GetCapturedStderr(), "readable\n");
}

TEST_F(LogOutput, ManyThreads_KeepTheirLinesWhole) {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int n = 0; n < 50; ++n) LogBoth("thread %d line %d end\n", i, n);
        });
    }
    threads.clear();
    const std::string text = folder.read(s_log).value();
    int lines = 0;
    for (std::size_t at = 0, end = 0; (end = text.find('\n', at)) != text.npos; at = end + 1, ++lines) {
        EXPECT_THAT(text.substr(at, end - at), testing::MatchesRegex("[0-9-]+T[0-9:.]+Z thread [0-3] line [0-9]+ end"));
    }
    EXPECT_EQ(lines, 200);
}
