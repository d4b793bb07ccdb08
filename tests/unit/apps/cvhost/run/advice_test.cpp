// Why a run has no console, and what it advises.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "apps/cvhost/run/Advice.h"
#include "host/core/FileDescriptor.h"

namespace cvhost::run {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Trouble = PortTrouble::Kind;

/// A run that looks for its console on one port, event by event.
class AdvisedRun : public testing::Test {
protected:
    void lookOn(std::string port) {
        m_port = std::move(port);
        follow(LogLine{"Looking for console on port " + m_port + "\n"});
    }
    void follow(const Event& event) { m_startup.follow(event, {}); }
    void becomes(PortState state) { follow(PortChange{m_port, state}); }
    void fails(Trouble kind, int error = 0, std::string_view reason = {}) {
        follow(PortTrouble{.name = m_port, .kind = kind, .error = error, .reason = reason});
    }
    void isLost() {
        becomes(PortState::open);
        fails(Trouble::lost, EIO, "input/output error");
        becomes(PortState::lost);
    }
    void comes(std::string_view bytes) {
        follow(LineBytes{Direction::receive, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}});
    }
    std::string advice() const { return whyNoConsole(m_startup.facts(), {.preferred = true, .waited = true}).text; }
    std::string status() const { return runStatus(m_startup.facts(), ""); }

private:
    std::string m_port;
    wire::Startup m_startup;
};

TEST_F(AdvisedRun, PortLost_SaysSoUntilItFailsForAnotherReason) {
    lookOn("/dev/null");
    isLost();
    EXPECT_EQ(advice(), "/dev/null was lost; check the adapter and its cable");
    fails(Trouble::cannotOpen, ENOENT, "no such file or directory");
    EXPECT_EQ(advice(), "/dev/null was lost; check the adapter and its cable");
    fails(Trouble::busy, EBUSY, "device or resource busy");
    EXPECT_THAT(advice(), HasSubstr("device or resource busy"));
    fails(Trouble::cannotOpen, ENOENT, "no such file or directory");
    EXPECT_EQ(advice(), "/dev/null was lost; check the adapter and its cable") << "it has gone again";
}

TEST_F(AdvisedRun, NetworkPortLost_SpeaksOfItsServer) {
    lookOn("rfc2217://127.0.0.1:9");
    isLost();
    EXPECT_EQ(advice(), "rfc2217://127.0.0.1:9 was lost; check that its server is running, and the network to it");
    fails(Trouble::cannotOpen, ECONNREFUSED, "connection refused");
    EXPECT_EQ(
        advice(),
        "cannot open rfc2217://127.0.0.1:9: connection refused; check the name, and that whatever serves the port there "
        "is running");
}

TEST_F(AdvisedRun, NetworkPortClosedAtOnce_SpeaksOfTheOtherClient) {
    lookOn("rfc2217://127.0.0.1:9");
    fails(Trouble::cannotOpen, ECONNRESET, "closed by its far end; perhaps another client has it");
    EXPECT_EQ(advice(),
              "cannot open rfc2217://127.0.0.1:9: closed by its far end; perhaps another client has it; end that client, or "
              "see on the server whether its serial port is there");
}

TEST_F(AdvisedRun, OpenPort_Silent_NamesWhatWasTried) {
    lookOn("/dev/tty0none");
    becomes(PortState::open);
    EXPECT_THAT(advice(), HasSubstr("after a reset through RTS and six requests for its version no console has answered"));
}

TEST_F(AdvisedRun, OpenPort_TakesNothing_SaysSo) {
    lookOn("/dev/tty0none");
    becomes(PortState::open);
    fails(Trouble::notTaking);
    EXPECT_EQ(advice(),
              "/dev/tty0none is open, but does not take the bytes that are sent; see that nothing holds the line back (flow "
              "control, a paused terminal); \"cvhost doctor\" shows more");
}

TEST_F(AdvisedRun, OpenPort_OtherEndRefusesControl_ClaimsNoReset) {
    lookOn("rfc2217://127.0.0.1:9");
    fails(Trouble::rtsUncertain);
    becomes(PortState::open);
    EXPECT_EQ(advice(),
              "rfc2217://127.0.0.1:9 is open, but after six requests for its version no console has answered; its other end "
              "does not offer to drive RTS: check that the console is switched on, that its program runs, and that this is "
              "its port; \"cvhost doctor\" shows more");
}

TEST_F(AdvisedRun, OpenPort_OtherBytesCome_SaysSoWhateverTheirNumber) {
    lookOn("/dev/tty0none");
    becomes(PortState::open);
    comes("\xFF");
    const std::string first = advice();
    EXPECT_EQ(
        first,
        "/dev/tty0none is open and bytes come, but no prompt among them; see whether another device is on this port: a "
        "console's cable may be damaged, or its line not at 9600 baud; \"cvhost doctor\" shows more");
    comes("noise");
    EXPECT_EQ(advice(), first);
    comes("\r\nEPROM>");
    EXPECT_THAT(advice(), HasSubstr("no console has answered"));
}

TEST_F(AdvisedRun, SettingsRefused_NameIsNotBlamed) {
    lookOn("/dev/tty");
    fails(Trouble::settingsRefused, EINVAL, "invalid argument");
    EXPECT_EQ(advice(), "/dev/tty does not take 9600 baud, 8N1: invalid argument; use another adapter");
}

TEST_F(AdvisedRun, OpenNetworkPort_SettingsRefused_SpeaksOfItsServer) {
    lookOn("rfc2217://127.0.0.1:9");
    becomes(PortState::open);
    fails(Trouble::settingsRefused, EINVAL, "its server has 115200 baud");
    EXPECT_EQ(advice(),
              "rfc2217://127.0.0.1:9 does not take 9600 baud, 8N1: its server has 115200 baud; set its server to 9600 baud, "
              "8N1");
}

TEST_F(AdvisedRun, Status_SaysWhatItWaitsForAndWhy) {
    EXPECT_EQ(status(), "looking for no console");
    lookOn("/dev/ttyUSB0");
    EXPECT_EQ(status(), "waiting for a console on /dev/ttyUSB0");
    fails(Trouble::cannotOpen, ENOENT, "no such file or directory");
    EXPECT_EQ(status(), "waiting for a console on /dev/ttyUSB0: no such file or directory");
    fails(Trouble::cannotOpen, EACCES, "permission denied");
    EXPECT_EQ(status(), "waiting for a console on /dev/ttyUSB0: permission denied");
    becomes(PortState::open);
    EXPECT_EQ(status(), "waiting for an answer from the console on /dev/ttyUSB0");
    isLost();
    EXPECT_EQ(status(), "waiting for a console on /dev/ttyUSB0");
}

/// A program called agetty that has a pseudo-terminal open, and a link to that.
class GettyOnLink : public AdvisedRun {
protected:
    void SetUp() override {
        ASSERT_TRUE(::grantpt(m_near.get()) == 0 && ::unlockpt(m_near.get()) == 0);
        m_device = ::ptsname(m_near.get());
        ASSERT_NE(::mkdtemp(m_folder.data()), nullptr);
        std::filesystem::create_symlink(m_device, link());
        const FileDescriptor held(::open(m_device.c_str(), O_RDWR | O_NOCTTY));
        m_getty = ::fork();
        if (m_getty == 0) {
            ::prctl(PR_SET_NAME, "agetty");
            ::kill(::getpid(), SIGSTOP);
            ::_exit(0);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(m_getty, &status, WUNTRACED), m_getty);
        ASSERT_TRUE(WIFSTOPPED(status));
    }
    void TearDown() override {
        if (m_getty > 0 && ::kill(m_getty, SIGKILL) == 0) ::waitpid(m_getty, nullptr, 0);
        std::filesystem::remove_all(m_folder);
    }
    std::string link() const { return m_folder + "/fixed"; }

    std::string m_device;

private:
    std::string m_folder = (std::filesystem::temp_directory_path() / "advice_test_XXXXXX").string();
    FileDescriptor m_near{::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)};
    pid_t m_getty = -1;
};

TEST_F(GettyOnLink, PortHeld_UnitIsOfTheDevice) {
    lookOn(link());
    fails(Trouble::busy, EBUSY, "device or resource busy");
    EXPECT_THAT(advice(), StartsWith(link() + " is in use: process "));
    EXPECT_THAT(advice(), EndsWith("; sudo systemctl stop serial-getty@" + m_device.substr(m_device.rfind('/') + 1)));
}

}  // namespace
}  // namespace cvhost::run
