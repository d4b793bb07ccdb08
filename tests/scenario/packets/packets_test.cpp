// The programs' readers and the driver get the same random bytes, and must accept the same and show the same.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <utility>

#include "apps/common/ConsoleFacts.h"
#include "apps/cvhost/wire/PacketReader.h"
#include "apps/cvhost/wire/ShuttleLaw.h"
#include "apps/cvhost/wire/WireReader.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Rig.h"

namespace {

using namespace support;
using cvhost::wire::Packet;

/// The driver, and what follows from the packets that the reader accepts.
class Pair {
public:
    Pair() {
        m_rig.jog_turn_on(false);
        open();
    }

    void receive(const std::string& bytes) {
        for (const char byte : bytes) {
            m_rig.receives({&byte, 1});
            if (const auto packet = m_reader.take(static_cast<unsigned char>(byte))) follow(*packet);
        }
    }
    /// The host ends the console and opens it again.
    void reopen() {
        m_rig.console().exit();
        m_reader.close();
        open();
    }
    void compare() {
        Cv::Console& console = m_rig.console();
        EXPECT_EQ(m_reader.active(), console.active());
        EXPECT_EQ(m_reader.version(), ConsoleTestAccess::version(console));
        EXPECT_EQ(m_offset, ConsoleTestAccess::shuttleOffset(console));
        EXPECT_EQ(m_turned, console.get_jog_delta_exact());
        for (int code = 0; code < ConsoleTestAccess::keyEntries; ++code)
            EXPECT_EQ(m_held.at(static_cast<std::size_t>(code)), console.key_is_down(code)) << code;
    }
    int accepted() const { return m_accepted; }

private:
    void open() { m_rig.console().open_port(); }
    void follow(const cvhost::wire::Packet& packet) {
        if (!packet.accepted) return;
        ++m_accepted;
        if (packet.kind == cvhost::wire::Packet::Kind::press || packet.kind == cvhost::wire::Packet::Kind::release)
            m_held.at(static_cast<std::size_t>(packet.number)) = packet.kind == cvhost::wire::Packet::Kind::press;
        if (packet.kind != cvhost::wire::Packet::Kind::status) return;
        m_offset = packet.ring - 127;
        m_turned = packet.turned;
    }

    Rig m_rig{Rig::Scripted{}};
    cvhost::wire::PacketReader m_reader;
    std::array<bool, ConsoleHandlerTable::codes> m_held{};
    int m_offset = 0;
    double m_turned = 0;
    int m_accepted = 0;
};

class Draw {
public:
    explicit Draw(unsigned seed) : m_random(seed) {}

    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }
    std::string bytes() {
        switch (below(8)) {
            case 0:
                return std::string("V00") + "5678V"[below(5)];
            case 1:
                return some("V", below(5), "0678Zf");
            case 2:
            case 3:
                return some(below(3) == 0 ? "L" : "\\", below(6) == 0 ? below(13) : 8, "0123456789abcdefABCDEF?");
            case 4:
                return some("~", below(3), "~EU\\LDV8");
            case 5:
                return some("", 1, "@EDLV\\_ghno~p");
            case 6:
                return some("", 1, "@EDLV\\_ghno~p") + "U";
            default:
                return noise();
        }
    }

private:
    std::string some(std::string text, int count, const std::string& letters) {
        for (int i = 0; i < count; ++i) text += letters[static_cast<std::size_t>(below(static_cast<int>(letters.size())))];
        return text;
    }
    std::string noise() {
        std::string text;
        for (int left = below(20); left > 0; --left) text += static_cast<char>(below(256));
        return text;
    }

    std::mt19937 m_random;
};

TEST(PacketReader, RandomPackets_AcceptedAsByTheDriver) {
    int accepted = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
        Pair pair;
        Draw draw(seed);
        for (int count = 0; count < 100 && !testing::Test::HasFailure(); ++count) {
            const std::string bytes = draw.bytes() + (draw.below(16) == 0 ? '\0' : ' ');
            SCOPED_TRACE("seed " + std::to_string(seed) + ", packet " + std::to_string(count) + ": " + bytes);
            pair.receive(bytes);
            pair.compare();
            if (draw.below(50) == 0) pair.reopen();
            pair.compare();
        }
        accepted += pair.accepted();
    }
    EXPECT_GT(accepted, 3000);
}

/// The driver, and what the programs show of the same console.
class Screen {
public:
    Screen() {
        m_rig.jog_turn_on(false);
        m_rig.handle(common::keys::wheel, [this](int) {
            // The key "o" runs the wheel's handler too, with what the wheel told last.
            m_turned += std::exchange(ConsoleTestAccess::jogDeltaExact(m_rig.console()), 0);
            return true;
        });
        m_rig.console().open_port();
        ConsoleTestAccess::wheelEnabled(m_rig.console()) = true;
    }

    /// The host reads `bytes` in one go, and gives them to the driver one by one.
    void receive(const std::string& bytes) {
        m_rig.receives(bytes);
        m_reader.read(cvhost::Direction::receive, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()}, {});
    }
    void compare() {
        Cv::Console& console = m_rig.console();
        const cvhost::wire::ConsoleLook& look = m_reader.look();
        const int speed = look.ringTold ? cvhost::wire::ShuttleLaw{}.speed(look.ring) : m_speedAtFirst;
        EXPECT_EQ(speed, console.get_ispeed());
        EXPECT_EQ(look.turned, m_turned);
        for (int code = 0; code < ConsoleTestAccess::keyEntries; ++code)
            EXPECT_EQ(look.held.at(static_cast<std::size_t>(code)), console.key_is_down(code)) << code;
    }
    double turned() const { return m_turned; }

private:
    Rig m_rig{Rig::Scripted{}};
    cvhost::wire::WireReader m_reader;
    const int m_speedAtFirst = m_rig.console().get_ispeed();
    double m_turned = 0;
};

TEST(WireReader, RandomBytes_SpeedMovementAndKeysAreTheDrivers) {
    int turned = 0;
    for (unsigned seed = 0; seed < 200; ++seed) {
        Screen screen;
        Draw draw(seed);
        for (int count = 0; count < 50 && !testing::Test::HasFailure(); ++count) {
            std::string bytes;
            for (int packets = draw.below(4); packets >= 0; --packets)
                bytes += draw.bytes() + (draw.below(8) == 0 ? '\0' : ' ');
            SCOPED_TRACE("seed " + std::to_string(seed) + ", bytes " + std::to_string(count) + ": " + bytes);
            screen.receive(bytes);
            screen.compare();
        }
        if (screen.turned() != 0) ++turned;
    }
    EXPECT_GT(turned, 100);
}

TEST(PacketReader, Version7After8_StatusIsRefusedUntilTheProcessEnds) {
    Pair pair;
    pair.receive("V008 L80000000 ");
    pair.compare();
    EXPECT_EQ(pair.accepted(), 2);
    pair.reopen();
    pair.receive("V007 \\FF010000 E ");
    pair.compare();
    EXPECT_EQ(pair.accepted(), 4);
}

}  // namespace
