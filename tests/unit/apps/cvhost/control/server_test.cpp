// The server of the control socket in this process, and how it begins.
#include "apps/cvhost/control/Server.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

std::atomic<int> g_waits = 0;
std::atomic<int> g_waitsToWrite = 0;  ///< those that end when a socket takes bytes

}  // namespace

extern "C" {
int __real_poll(pollfd* entries, nfds_t count, int timeout);  // NOLINT(bugprone-reserved-identifier): the linker's name

int __wrap_poll(pollfd* entries, nfds_t count, int timeout) {  // NOLINT(bugprone-reserved-identifier)
    bool writes = false;
    for (nfds_t i = 0; i < count; ++i) writes = writes || (entries[i].events & POLLOUT) != 0;
    ++g_waits;
    if (writes) ++g_waitsToWrite;
    return __real_poll(entries, count, timeout);
}
}

namespace {

using cvhost::FileDescriptor;
using cvhost::control::Codes;
using cvhost::control::ControlFailure;
using cvhost::control::Exchange;
using cvhost::control::Listener;
using cvhost::control::Server;
using testing::AllOf;
using testing::HasSubstr;

class ControlServer : public testing::Test {
protected:
    ControlServer() { std::filesystem::create_directory(m_folder); }
    ~ControlServer() override { std::filesystem::remove_all(m_folder); }

    /// A client that has been welcomed.
    FileDescriptor client() const {
        FileDescriptor socket = cvhost::control::connectTo(m_path, 0);
        readStatus(socket);
        return socket;
    }
    static void askForStatus(const FileDescriptor& client) {
        constexpr std::string_view command = "{\"do\":\"status\"}\n";
        ASSERT_EQ(::send(client.get(), command.data(), command.size(), MSG_NOSIGNAL), command.size());
    }
    static void readStatus(const FileDescriptor& client) {
        std::string text;
        std::array<char, 4096> bytes;
        while (text.find(R"("event":"status")") == text.npos || text.back() != '\n') {
            const ssize_t count = ::recv(client.get(), bytes.data(), bytes.size(), 0);
            ASSERT_GT(count, 0) << text;
            text.append(bytes.data(), static_cast<std::size_t>(count));
        }
    }

    const std::string m_folder = testing::TempDir() + "control_server_test_" + std::to_string(::getpid());
    const std::string m_path = m_folder + "/control";
};

TEST_F(ControlServer, Client_ThatTakesNothingMore_IsNotWaitedFor) {
    Exchange exchange(common::RunClock(), true, [] {});
    const Server server(m_path, {.start = {}, .exchange = exchange, .claim = [](const Codes&) {}});
    const FileDescriptor deaf = client();
    const FileDescriptor other = client();
    ASSERT_EQ(::shutdown(deaf.get(), SHUT_RD), 0);
    askForStatus(deaf);
    for (int i = 0; i < 2; ++i) {  // after the second answer, the server has tried to answer the deaf one
        askForStatus(other);
        readStatus(other);
    }
    g_waits = 0;
    g_waitsToWrite = 0;
    askForStatus(other);
    readStatus(other);
    askForStatus(other);
    readStatus(other);
    EXPECT_GT(g_waits, 0);
    EXPECT_EQ(g_waitsToWrite, 0);
}

TEST_F(ControlServer, Folder_ThatAnotherProcessHasLocked_IsNamed) {
    FileDescriptor lock(::open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
    try {
        const Listener listener(m_path);
        ADD_FAILURE() << "it listens";
    } catch (const ControlFailure& failure) {
        EXPECT_THAT(failure.what(), AllOf(HasSubstr("no control socket at " + m_path + ": "),
                                          HasSubstr("another process has locked the folder " + m_folder + "; end that")));
    }
    EXPECT_FALSE(std::filesystem::exists(m_path));
    lock.reset();
    const Listener listener(m_path);
    EXPECT_TRUE(cvhost::control::connectTo(m_path, 0));
}

}  // namespace
