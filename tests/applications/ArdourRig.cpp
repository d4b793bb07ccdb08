#include "tests/applications/ArdourRig.h"

#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "apps/cvhost/map/OscFormat.h"
#include "tests/applications/Waiting.h"

namespace applications_test {
namespace {

namespace fs = std::filesystem;
using cvhost::map::OscMessage;

constexpr std::uint16_t ardourPort = 3819;

/// Copies the folder that ./dev test-apps has made: a home with Ardour's configuration, and a session.
fs::path copied(const fs::path& folder) {
    const char* prepared = std::getenv("APPLICATIONS_ARDOUR");
    if (prepared == nullptr) throw std::runtime_error("this program is run by ./dev test-apps");
    fs::copy(prepared, folder / "ardour", fs::copy_options::recursive);
    return folder / "ardour/session/session.ardour";
}

Process::Setup setupOf(const fs::path& session) {
    const fs::path home = session.parent_path().parent_path() / "home";
    return {.command = {"/usr/bin/env", "ardour", session},
            .environment = {{"HOME", home},
                            {"XDG_CONFIG_HOME", home / "config"},
                            {"XDG_DATA_HOME", home / "data"},
                            {"XDG_CACHE_HOME", home / "cache"}}};
}

}  // namespace

ArdourTest::ArdourTest()
    : m_session(copied(m_folder.path())), m_surface(INADDR_LOOPBACK + 1), m_ardour(setupOf(m_session)) {}

void ArdourTest::SetUp() {
    m_surface.setLimit(std::chrono::milliseconds(200));
    EXPECT_EQ(frame(), 0);
    m_host.emplace(cvhost({"--events", "json", "--wire", "--port", m_desk.name(), "--map", MAPS "/ardour.toml"}));
    waitUntilStarted(*m_host);
    tap('\\');
    waitFor(*m_host, {{"event", "handler"}, {"code", 28}});
}

void ArdourTest::TearDown() {
    if (HasFailure() && m_host) printLast(*m_host);
}

void ArdourTest::send(const OscMessage& message) {
    const auto packet = cvhost::map::packetOf(message);
    m_surface.sendTo(ardourPort, {packet.data(), packet.size()});
}

std::optional<double> ArdourTest::answerTo(const std::string& address) {
    send({.address = "/set_surface", .arguments = {0, 0, 0, 0, 0, 0, m_surface.port()}});
    send({.address = address});
    std::optional<double> answer;
    for (std::string packet = m_surface.receive(); !packet.empty() && !answer; packet = m_surface.receive()) {
        cvhost::map::readPacket(packet, [&](std::string_view heard, double value) {
            if (heard == address) answer = value;
        });
        if (answer) break;
    }
    return answer;
}

double ArdourTest::ask(const std::string& address) {
    std::optional<double> answer;
    if (!becomes([&] { return (answer = answerTo(address)).has_value(); }))
        throw std::runtime_error("Ardour does not answer: " + m_ardour.errors());
    return *answer;
}

testing::AssertionResult ArdourTest::framesBecome(const std::function<bool(double)>& wanted) {
    if (becomes([&] { return wanted(frame()); })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "the playhead is at " << frame();
}

bool ArdourTest::isAt(int wanted) {
    // Ardour may put the playhead one sample off.
    return std::abs(frame() - wanted) <= 2;
}

testing::AssertionResult ArdourTest::frameBecomes(int wanted) {
    if (becomes([&] { return isAt(wanted); })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "the playhead is at " << frame();
}

testing::AssertionResult ArdourTest::speedBecomes(const std::function<bool(double)>& wanted) {
    if (becomes([&] { return wanted(speed()); })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "the speed is " << speed();
}

testing::AssertionResult ArdourTest::stands() {
    constexpr int answersTillStill = 25;
    double last = -1;
    int answers = 0;
    const bool still = becomes([&] {
        const double now = frame();
        answers = now == last && speed() == 0 ? answers + 1 : 0;
        last = now;
        return answers == answersTillStill;
    });
    return still ? testing::AssertionSuccess() : testing::AssertionFailure() << "the playhead is at " << last;
}

void ArdourTest::locate(int frame) {
    send({.address = "/locate", .arguments = {frame, 0}});
    EXPECT_TRUE(frameBecomes(frame));
}

bool ArdourTest::lampBecomes(char key, char state) {
    const int lamp = common::lampOfKey(key - 'A' + 1);
    return apps_test::becomes(m_desk, [=](const desk::Desk& desk) { return desk.lamp(lamp) == state; });
}

std::string ArdourTest::saved() {
    send({.address = "/save_state"});
    frame();  // answered when it has saved
    return contentOf(m_session);
}

testing::AssertionResult ArdourTest::tapUntil(char key, const std::function<bool()>& shows, int taps) {
    for (; taps > 0; --taps) {
        tap(key);
        for (int attempt = 0; attempt < 50; ++attempt) {
            if (shows()) return testing::AssertionSuccess();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    return testing::AssertionFailure() << "the key " << key << " does nothing";
}

testing::AssertionResult ArdourTest::jumps(char key, int from, int to) {
    for (int rounds = 20; rounds > 0; --rounds) {
        locate(from);
        tap(key);
        for (int attempt = 0; attempt < 200; ++attempt) {
            if (isAt(to)) return testing::AssertionSuccess();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    return testing::AssertionFailure() << "the key " << key << " does not go from " << from << " to " << to;
}

}  // namespace applications_test
