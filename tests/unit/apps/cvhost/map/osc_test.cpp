// Open Sound Control: messages as bytes, and a program on a real UDP socket.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "apps/cvhost/map/OscFormat.h"
#include "apps/cvhost/map/OscTarget.h"
#include "tests/support/OscProgram.h"

using namespace cvhost::map;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

namespace {

using Heard = std::vector<std::pair<std::string, double>>;

Heard heardIn(const std::string& packet) {
    Heard heard;
    readPacket(packet, [&](std::string_view address, double value) { heard.emplace_back(address, value); });
    return heard;
}

std::string packetText(const OscMessage& message) {
    const std::vector<char> packet = packetOf(message);
    return {packet.begin(), packet.end()};
}

std::string sizeOf(std::size_t size) { return {'\0', '\0', static_cast<char>(size >> 8), static_cast<char>(size & 255)}; }

std::string bundleOf(const std::vector<std::string>& elements) {
    std::string bundle = "#bundle\0\0\0\0\0\0\0\0\1"s;
    for (const std::string& element : elements) bundle += sizeOf(element.size()) + element;
    return bundle;
}

const std::string playOn = "/play\0\0\0,i\0\0\0\0\0\1"s;

Stroke stroke(const std::string& address, std::vector<OscMessage::Argument> arguments = {}) {
    return std::make_shared<const OscMessage>(OscMessage{.address = address, .arguments = std::move(arguments)});
}

class OscTargetTest : public testing::Test {
protected:
    OscTarget& target() {
        if (!m_target) {
            m_target = std::make_unique<OscTarget>(m_application, [this] {
                const std::lock_guard lock(m_mutex);
                ++m_changes;
                m_changed.notify_all();
            });
        }
        return *m_target;
    }
    void waitForChanges(int count) {
        std::unique_lock lock(m_mutex);
        EXPECT_TRUE(m_changed.wait_for(lock, std::chrono::minutes(1), [&] { return m_changes >= count; }));
    }

    OscProgram m_program;
    Application m_application{
        .kind = TargetKind::osc, .host = "127.0.0.1", .port = m_program.port(), .lamps = {{1, "/play"}, {7, "/record"}}};
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_changes = 0;
    std::unique_ptr<OscTarget> m_target;
};

}  // namespace

TEST(OscFormat, PacketOf_ArgumentsOfEachType_AreAsOsc10SaysThem) {
    EXPECT_EQ(packetText({.address = "/foo", .arguments = {1000, -1, "hello"s, 1.234F, 5.678F}}),
              "/foo\0\0\0\0,iisff\0\0\0\0\3\xe8\xff\xff\xff\xff"
              "hello\0\0\0\x3f\x9d\xf3\xb6\x40\xb5\xb2\x2d"s);
    EXPECT_EQ(packetText({.address = "/stop"}), "/stop\0\0\0,\0\0\0"s);
}

TEST(OscFormat, ReadPacket_NumbersOfEachType_AreHeard) {
    EXPECT_THAT(heardIn(playOn), ElementsAre(Pair("/play", 1)));
    EXPECT_THAT(heardIn("/a\0\0,f\0\0\x3f\0\0\0"s), ElementsAre(Pair("/a", 0.5)));
    EXPECT_THAT(heardIn("/a\0\0,d\0\0\x3f\xe0\0\0\0\0\0\0"s), ElementsAre(Pair("/a", 0.5)));
    EXPECT_THAT(heardIn("/a\0\0,T\0\0"s), ElementsAre(Pair("/a", 1)));
    EXPECT_THAT(heardIn("/a\0\0,F\0\0"s), ElementsAre(Pair("/a", 0)));
    EXPECT_THAT(heardIn("/a\0\0,s\0\0x\0\0\0"s), IsEmpty());
    EXPECT_THAT(heardIn("/a\0\0,\0\0\0"s), IsEmpty());
}

TEST(OscFormat, ReadPacket_BundleInABundle_EachMessageIsHeard) {
    const std::string inner = bundleOf({playOn, "/b\0\0,T\0\0"s});
    EXPECT_THAT(heardIn(bundleOf({inner, playOn})), ElementsAre(Pair("/play", 1), Pair("/b", 1), Pair("/play", 1)));
}

TEST(OscFormat, ReadPacket_BundlesTooDeep_AreLeftOut) {
    std::string packet = playOn;
    for (int depth = 0; depth < 4; ++depth) packet = bundleOf({packet});
    EXPECT_THAT(heardIn(packet), SizeIs(1));
    for (int depth = 0; depth < 1000; ++depth) packet = bundleOf({packet});
    EXPECT_THAT(heardIn(packet), IsEmpty());
}

TEST(OscFormat, ReadPacket_BrokenInAnyWay_IsLeftOut) {
    const std::string whole = bundleOf({playOn, bundleOf({playOn})});
    for (std::size_t size = 0; size < whole.size(); ++size) EXPECT_LE(heardIn(whole.substr(0, size)).size(), 1U) << size;
    std::mt19937 random(20'061);
    for (int round = 0; round < 50'000; ++round) {
        std::string packet = whole;
        for (auto flips = random() % 6 + 1; flips > 0; --flips)
            packet[random() % packet.size()] = static_cast<char>(random());
        packet.resize(random() % (packet.size() + 1));
        EXPECT_LE(heardIn(packet).size(), 2U);
    }
}

TEST_F(OscTargetTest, Take_KeyHeld_SendsOneAndZero) {
    target().take({.kind = Action::Kind::press, .hold = 8, .stroke = stroke("/rewind")});
    EXPECT_EQ(m_program.receive(), "/rewind\0,i\0\0\0\0\0\1"s);
    target().take({.kind = Action::Kind::release, .hold = 8});
    EXPECT_EQ(m_program.receive(), "/rewind\0,i\0\0\0\0\0\0"s);
}

TEST_F(OscTargetTest, Take_ReleaseAll_SendsZeroForEachThatIsHeld) {
    target().take({.kind = Action::Kind::press, .hold = 8, .stroke = stroke("/a")});
    target().take({.kind = Action::Kind::press, .hold = 9, .stroke = stroke("/b")});
    target().take({.kind = Action::Kind::release, .hold = 8});
    target().take({.kind = Action::Kind::releaseAll});
    target().take({.kind = Action::Kind::tap, .stroke = stroke("/end", {"now"s})});
    std::vector<std::string> packets;
    for (int i = 0; i < 5; ++i) packets.push_back(m_program.receive());
    EXPECT_THAT(packets, ElementsAre("/a\0\0,i\0\0\0\0\0\1"s, "/b\0\0,i\0\0\0\0\0\1"s, "/a\0\0,i\0\0\0\0\0\0"s,
                                     "/b\0\0,i\0\0\0\0\0\0"s, "/end\0\0\0\0,s\0\0now\0"s));
}

TEST_F(OscTargetTest, Take_SpeedAndTurn_SendTheirNumbers) {
    target().take({.kind = Action::Kind::speed, .stroke = stroke("/speed"), .amount = -512});
    EXPECT_EQ(m_program.receive(), "/speed\0\0,f\0\0\xbf\0\0\0"s);
    target().take({.kind = Action::Kind::turn, .wheel = {.send = true, .forward = stroke("/jog")}, .amount = -3});
    EXPECT_EQ(m_program.receive(), "/jog\0\0\0\0,f\0\0\xc0\x40\0\0"s);
    const WheelAction taps{.forward = stroke("/on"), .backward = stroke("/back")};
    target().take({.kind = Action::Kind::turn, .wheel = taps, .amount = -2});
    target().take({.kind = Action::Kind::turn, .wheel = taps, .amount = 1});
    EXPECT_EQ(m_program.receive(), "/back\0\0\0,\0\0\0"s);
    EXPECT_EQ(m_program.receive(), "/back\0\0\0,\0\0\0"s);
    EXPECT_EQ(m_program.receive(), "/on\0,\0\0\0"s);
}

TEST_F(OscTargetTest, Lamps_ProgramReports_FollowIt) {
    target().take({.kind = Action::Kind::tap, .stroke = stroke("/hello")});
    m_program.receive();
    m_program.answer(playOn);
    waitForChanges(1);
    EXPECT_EQ(target().lamps(), Lamps().set(1));
    m_program.answer("garbage");
    m_program.answer("/other\0\0,T\0\0"s);
    m_program.answer(bundleOf({"/record\0,T\0\0"s, "/play\0\0\0,F\0\0"s}));
    waitForChanges(2);
    EXPECT_EQ(target().lamps(), Lamps().set(7));
}

TEST_F(OscTargetTest, Lamps_ProgramAtAnotherLoopbackAddress_IsHeard) {
    OscProgram here(INADDR_LOOPBACK + 0x100);  // 127.0.1.1, Debian's address for the machine's own name
    m_application.host = "127.0.1.1";
    m_application.port = here.port();
    target().take({.kind = Action::Kind::tap, .stroke = stroke("/hello")});
    here.receive();
    here.answerThrough(m_program, playOn);
    waitForChanges(1);
    EXPECT_EQ(target().lamps(), Lamps().set(1));
}

TEST_F(OscTargetTest, Hello_WithThePort_IsSentFirstAndNamesOurs) {
    m_application.hello = OscMessage{.address = "/hi", .arguments = {0, "{port}"s}};
    target();
    const std::string hello = m_program.receive();
    const auto port = static_cast<unsigned>(m_program.peerPort());
    EXPECT_EQ(hello, "/hi\0,ii\0\0\0\0\0\0\0"s + static_cast<char>(port >> 8) + static_cast<char>(port & 255));
}

TEST_F(OscTargetTest, Construct_PortInUse_SaysSo) {
    Application taken = m_application;
    taken.listen = m_program.port();
    try {
        OscTarget(taken, [] {});
        FAIL() << "it listens on a port in use";
    } catch (const TargetFailure& failure) {
        EXPECT_EQ(failure.what(), "cannot listen on UDP port " + std::to_string(taken.listen) + ": Address already in use");
    }
}
