// cvhost's standard output: closed, full, slow, or a terminal.

#include <gmock/gmock.h>
#include <pty.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "apps/common/LineWriter.h"
#include "tests/apps/CvhostRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST_F(CvhostTest, Output_ReaderLeaves_ProgramEndsWithoutAWord) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    Process host(cvhost({"--events", "json", "--wire", "--port", whereIs(desk)}));
    waitFor(host, {{"event", "active"}});
    host.closeOutput();
    desk.signal(SIGTERM);  // the loss is something to tell

    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_THAT(host.errors(), Not(HasSubstr("cvhost:")));
}

TEST_F(CvhostTest, Output_ClosedFromTheStart_SaysSoAndEnds) {
    Process::Setup setup = cvhost({"--port", "/dev/no-such-port"});
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "exec \"$@\" >&-", "sh"});
    Process host(setup);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("cvhost: cannot write to standard output: "));
}

TEST_F(CvhostTest, Output_DeviceFull_SaysSoAndEnds) {
    Process::Setup setup = cvhost({"--port", "/dev/no-such-port"});
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh"});
    Process host(setup);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("cvhost: cannot write to standard output: No space left on device;"));
}

TEST_F(CvhostTest, Output_NobodyReads_HostGoesOnAndEndsWhenTold) {
    std::string script = "wait active\nsleep 500ms\n";
    for (int turn = 0; turn < 40; ++turn) script += "shuttle 200\nshuttle 60\n";
    script += "sleep 200ms\ntap \\\nexpect wheel on\nquit\n";
    Process desk(cvdesk({"--rfc2217", "0", "--unpaced", "--script", m_folder.write("script", script)}));
    Process::Setup setup = cvhost({"--events", "json", "--wire", "--set", "console_debug=1", "--port", whereIs(desk)});
    setup.readOutput = false;
    Process host(setup);

    EXPECT_EQ(desk.wait(), 0) << desk.errors();
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

TEST_F(CvhostTest, Errors_NobodyReads_HostGoesOnAndEndsWhenTold) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    const std::string fullPipe = "mkfifo pipe; exec 3<>pipe; head -c 65536 /dev/zero >&3; exec \"$@\" 2>&3";
    Process::Setup setup = cvhost({"--events", "json", "--set", "console_prot=x", "--port", whereIs(desk)});
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "cd \"$0\" && " + fullPipe, m_folder.path()});
    Process host(setup);
    waitFor(host, {{"event", "active"}});
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
}

/// All that `setup` writes to a terminal before it ends.
std::string onTerminal(Process::Setup setup, int& status) {
    std::array<char, 64> name{};
    int terminal = -1;
    int slave = -1;
    if (::openpty(&terminal, &slave, name.data(), nullptr, nullptr) != 0) throw std::runtime_error("no terminal");
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "t=$1; shift; exec \"$@\" >\"$t\"", "sh", name.data()});
    Process host(setup);
    status = host.wait();
    ::close(slave);
    std::string text;
    std::array<char, 4096> some{};
    for (ssize_t size = 0; (size = ::read(terminal, some.data(), some.size())) > 0;) {
        text.append(some.data(), static_cast<std::size_t>(size));
    }
    ::close(terminal);
    return text;
}

TEST_F(CvhostTest, Text_OnATerminal_IsColoured) {
    Process::Setup setup = cvhost({"--port", "/dev/no-such-port", "--for", "0.1"});
    setup.environment.insert({{"TERM", "xterm"}, {"NO_COLOR", ""}});
    int status = -1;
    EXPECT_THAT(onTerminal(setup, status), HasSubstr("\x1b["));
    EXPECT_EQ(status, 1);
}

TEST_F(CvhostTest, Text_OnATerminalWithNoColor_IsPlain) {
    Process::Setup setup = cvhost({"--port", "/dev/no-such-port", "--for", "0.1"});
    setup.environment.insert({{"TERM", "xterm"}, {"NO_COLOR", "1"}});
    int status = -1;
    const std::string text = onTerminal(setup, status);
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    EXPECT_THAT(text, HasSubstr("  start    cvhost "));
}

TEST_F(CvhostTest, Timeline_OnATerminal_IsColouredUnlessNoColorIsSet) {
    const std::string recording =
        m_folder.write("recording.jsonl",
                       "{\"format\":\"cvhost serial "
                       "recording\",\"version\":1,\"program\":\"cvhost\",\"started\":\"2026-01-31T12:34:56Z\"}\n"
                       "{\"t\":1,\"event\":\"rts\",\"level\":0}\n");
    Process::Setup setup = cvhost({recording});
    setup.command.at(1) = "timeline";
    for (const char* noColor : {"", "1"}) {
        setup.environment["TERM"] = "xterm";
        setup.environment["NO_COLOR"] = noColor;
        int status = -1;
        const std::string text = onTerminal(setup, status);
        EXPECT_EQ(status, 0);
        EXPECT_THAT(text, HasSubstr("RTS low, the console is held in reset"));
        EXPECT_EQ(text.find('\x1b') == text.npos, *noColor != '\0') << text;
    }
}

TEST_F(CvhostTest, Text_IntoAPipe_IsPlain) {
    Process host(cvhost({"--desk"}));
    host.waitForLine([](const std::string& line) { return line.find("console version 7") != line.npos; });
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    for (const std::string& line : host.lines()) EXPECT_THAT(line, Not(HasSubstr("\x1b")));
}

/// Reads from `fd` to its end.
std::string readAll(int fd) {
    std::string text;
    std::array<char, 4096> some{};
    for (ssize_t size = 0; (size = ::read(fd, some.data(), some.size())) > 0;) {
        text.append(some.data(), static_cast<std::size_t>(size));
    }
    return text;
}

TEST(Output, Put_ReaderKeepsUp_WritesEveryLineInOrder) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    std::string expected;
    {
        common::LineWriter output(ends[1],
                                  {.missing = [](std::size_t) { return std::string("missing\n"); }, .broken = [] {}});
        for (int line = 0; line < 100; ++line) {
            output.put(std::to_string(line) + '\n');
            expected += std::to_string(line) + '\n';
        }
    }
    ::close(ends[1]);
    EXPECT_EQ(readAll(ends[0]), expected);
    ::close(ends[0]);
}

/// What a reader has got of an output's lines.
struct Got {
    std::size_t whole = 0;
    std::size_t others = 0;
    std::size_t missing = 0;  ///< as the output says
};

Got gotIn(const std::string& text, const std::string& line) {
    Got got;
    std::istringstream lines(text);
    for (std::string shown; std::getline(lines, shown);) {
        if (shown == line) {
            ++got.whole;
        } else if (shown.ends_with(" missing")) {
            got.missing += std::stoul(shown);
        } else {
            ++got.others;
        }
    }
    return got;
}

/// Adds to `text` what `fd` has, waiting for it. Whether `wanted` is in what was added.
bool read(int fd, std::string& text, std::string_view wanted) {
    std::array<char, 4096> some{};
    const std::size_t before = text.size() - std::min(text.size(), wanted.size());
    const ssize_t size = ::read(fd, some.data(), some.size());
    if (size <= 0) throw std::runtime_error("nothing more came");
    text.append(some.data(), static_cast<std::size_t>(size));
    return text.find(wanted, before) != text.npos;
}

TEST(Output, Put_NobodyReads_NeverWaitsAndSaysHowManyAreMissing) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    constexpr std::size_t count = 3000;  // more than it keeps and has in hand, 1 MiB each, and the pipe
    const std::string line(1023, 'x');
    std::string text;
    Got got;
    {
        common::LineWriter output(
            ends[1],
            {.missing = [](std::size_t missing) { return std::to_string(missing) + " missing\n"; }, .broken = [] {}});
        for (std::size_t i = 0; i < count; ++i) output.put(line + '\n');
        // While it is full, more is to come; the first line for which there is room again follows the number. Behind that
        // there is room for another, and with it all has come.
        std::size_t more = 1;
        for (; !read(ends[0], text, " missing\n"); ++more) output.put("more\n");
        output.put("end\n");
        while (!read(ends[0], text, "end\n")) {
        }
        got = gotIn(text, line);
        EXPECT_EQ(got.whole + got.others + got.missing, count + more);
    }
    ::close(ends[1]);
    ::close(ends[0]);
    EXPECT_GT(got.missing, 0U);
    EXPECT_GT(got.whole, 1000U);
}

TEST(Output, Put_ReaderGone_TellsBrokenOnce) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    std::signal(SIGPIPE, SIG_IGN);
    ::close(ends[0]);
    int broken = 0;
    int error = 0;
    {
        common::LineWriter output(ends[1],
                                  {.missing = [](std::size_t) { return std::string(); }, .broken = [&] { ++broken; }});
        output.put("lost\n");
        while ((error = output.error()) == 0) std::this_thread::yield();
        output.put("lost too\n");
    }
    ::close(ends[1]);
    EXPECT_EQ(error, EPIPE);
    EXPECT_EQ(broken, 1);
}

}  // namespace
}  // namespace apps_test
