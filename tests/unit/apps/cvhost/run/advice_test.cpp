// Why a run has no console, and what it advises.
#include <gmock/gmock.h>

#include <cerrno>
#include <functional>
#include <string>
#include <vector>

#include "apps/cvhost/run/Advice.h"

namespace cvhost::run {
namespace {

using testing::HasSubstr;
using testing::Not;
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
    std::string advice() const { return whyNoConsole(m_startup.facts(), {.preferred = true, .waited = true}).text; }

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

}  // namespace
}  // namespace cvhost::run
