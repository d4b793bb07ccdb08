// The pseudo-terminal that carries a desk.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "lines/Pty.h"
#include "tests/unit/lines/LinesRig.h"

namespace {

using namespace std::chrono_literals;
using namespace lines_test;
using cvhost::FileDescriptor;
using lines::DeskServer;
using testing::HasSubstr;
using testing::Property;
using testing::Throws;

class PtyLine : public testing::Test {
protected:
    PtyLine() {
        std::string name = (std::filesystem::temp_directory_path() / "desk-lines-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        link = folder / "desk";
    }
    ~PtyLine() override { std::filesystem::remove_all(folder); }

    FileDescriptor open() const { return FileDescriptor(::open(link.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)); }

    static void say(const FileDescriptor& port, std::string_view text) {
        EXPECT_EQ(::write(port.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// The next `count` bytes; fewer when no more come.
    static std::string hear(const FileDescriptor& port, std::size_t count) {
        std::string text;
        std::array<char, 4096> bytes;
        while (text.size() < count && readable(port)) {
            const ssize_t got = ::read(port.get(), bytes.data(), std::min(bytes.size(), count - text.size()));
            if (got <= 0) break;
            text.append(bytes.data(), static_cast<std::size_t>(got));
        }
        return text;
    }

    std::filesystem::path folder, link;
};

TEST_F(PtyLine, Link_LeadsToTheTerminalAndGoesWithIt) {
    {
        const lines::Pty pty(link);
        EXPECT_EQ(pty.name(), link);
        EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
    }
    EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST_F(PtyLine, StaleLink_IsReplaced) {
    std::filesystem::create_symlink("/nowhere", link);
    const lines::Pty pty(link);
    EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
}

TEST_F(PtyLine, LinkOfADeskThatRuns_IsLeftAloneAndTheReasonGiven) {
    const lines::Pty first(link);
    EXPECT_THAT([&] { lines::Pty{link}; },
                Throws<std::system_error>(Property(&std::system_error::code, std::errc::file_exists)));
    EXPECT_EQ(std::filesystem::read_symlink(link), first.device());
}

TEST_F(PtyLine, LinkToAFile_IsLeftAlone) {
    const std::filesystem::path file = folder / "file";
    std::filesystem::create_symlink(file, link);
    std::ofstream(file) << "younger than the link";
    EXPECT_THROW(lines::Pty{link}, std::system_error);
    EXPECT_EQ(std::filesystem::read_symlink(link), file);
}

TEST_F(PtyLine, LinkWhoseTerminalsNumberIsAnothersNow_IsReplaced) {
    const auto newTerminal = [] { return cvhost::owned(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "no terminal"); };
    FileDescriptor terminal;
    do {  // until no other program takes the number
        std::filesystem::remove(link);
        terminal = newTerminal();
        const std::string killed = ::ptsname(terminal.get());
        std::filesystem::create_symlink(killed, link);
        terminal.reset();
        const std::array<timespec, 2> longAgo{timespec{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 1, .tv_nsec = 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, link.c_str(), longAgo.data(), AT_SYMLINK_NOFOLLOW), 0);
        terminal = newTerminal();
    } while (std::filesystem::read_symlink(link) != ::ptsname(terminal.get()));
    const lines::Pty pty(link);
    EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
}

TEST_F(PtyLine, HungUp_LeadsToANewTerminalUnderTheSameName) {
    lines::Pty pty(link);
    const std::string before = pty.device();
    pty.hangUp();
    EXPECT_NE(pty.device(), before);
    EXPECT_EQ(std::filesystem::read_symlink(link), pty.device());
}

TEST_F(PtyLine, OtherFile_IsLeftAloneAndTheReasonGiven) {
    std::ofstream(link) << "precious";
    try {
        lines::Pty pty(link);
        FAIL() << "made a link over a file";
    } catch (const std::system_error& error) {
        EXPECT_THAT(error.what(), HasSubstr("cannot make the link " + link.string()));
    }
    EXPECT_EQ(std::filesystem::file_size(link), 8U);
}

TEST_F(PtyLine, LinkTakenOverByAnother_IsLeftToIt) {
    {
        const lines::Pty pty(link);
        std::filesystem::remove(link);
        std::filesystem::create_symlink("/elsewhere", link);
    }
    EXPECT_EQ(std::filesystem::read_symlink(link), "/elsewhere");
}

TEST_F(PtyLine, EveryByteValue_PassesUnchanged) {
    DeskServer server(fast, std::make_unique<lines::Pty>(link));
    ASSERT_TRUE(booted(server)) << "its prompt goes to nobody";
    const FileDescriptor port = open();
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '\r') all += static_cast<char>(byte);
    say(port, all);
    EXPECT_EQ(hear(port, all.size()), all);
}

TEST_F(PtyLine, FarewellAtOnce_ArrivesWholeAfterTheHostHasClosed) {
    DeskServer server({.running = true}, std::make_unique<lines::Pty>(link));
    say(open(), farewell());
    EXPECT_TRUE(comes([&] { return seen(server, received) == farewell(); })) << seen(server, received);
    EXPECT_EQ(seen(server, [](desk::Desk& desk) { return desk.lostInput(); }), 0U);
}

TEST_F(PtyLine, HostAfterHost_FindsTheProgramRunning) {
    DeskServer server(fast, std::make_unique<lines::Pty>(link));
    ASSERT_TRUE(booted(server));
    {
        const FileDescriptor first = open();
        say(first, "J 0100 0\r");
        ASSERT_EQ(hear(first, 11), "J 0100 0\r\r\n");
        say(first, "? F9 ");
        ASSERT_EQ(hear(first, 5), "V007 ");
    }
    const FileDescriptor second = open();
    say(second, "J 0100 0\rF2      ? ");
    EXPECT_EQ(hear(second, 5), "V007 ");
    EXPECT_EQ(seen(server, [](desk::Desk& desk) { return desk.lamp(9); }), 'F');
    EXPECT_EQ(seen(server, [](desk::Desk& desk) { return desk.resets(); }), 0U);
}

TEST_F(PtyLine, WhatIsSentWhileNobodyListens_IsLost) {
    DeskServer server(fastRunning, std::make_unique<lines::Pty>(link));
    const auto tap = [&](char key) {
        server.operate([key](desk::Desk& desk, desk::Time now) { desk.tap(key, now); });
        return comes([&] { return seen(server, [](desk::Desk& desk) { return !desk.nextEvent(); }); });
    };
    ASSERT_TRUE(tap('A'));
    {
        const FileDescriptor port = open();
        say(port, "? ");
        EXPECT_EQ(hear(port, 5), "V007 ");
    }
    ASSERT_TRUE(tap('B'));
    const FileDescriptor port = open();
    say(port, "? ");
    EXPECT_EQ(hear(port, 5), "V007 ");
}

}  // namespace
