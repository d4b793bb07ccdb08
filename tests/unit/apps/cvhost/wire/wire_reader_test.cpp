// What the page makes of the bytes on the line.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "apps/cvhost/wire/WireReader.h"

namespace apps_test {
namespace {

using ::cvhost::Direction;
using ::cvhost::wire::WireMessage;
using ::cvhost::wire::WireReader;
using testing::ElementsAre;

struct Reading {
    cvhost::wire::WireReader reader;
    std::vector<std::string> meanings;

    void pass(Direction direction, const std::string& bytes) {
        reader.read(direction, {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()},
                    [this](const WireMessage& message) { meanings.push_back(message.meaning); });
    }
    void sends(const std::string& bytes) { pass(Direction::transmit, bytes); }
    void hears(const std::string& bytes) { pass(Direction::receive, bytes); }
};

struct Meant {
    Direction direction;
    std::string bytes;
    std::string meaning;
};

void PrintTo(const Meant& meant, std::ostream* out) { *out << meant.bytes; }

class WireReaderTest : public testing::TestWithParam<Meant> {};

TEST_P(WireReaderTest, Message_OfTheProgram_HasItsMeaning) {
    Reading reading;
    reading.hears(GetParam().bytes.starts_with('L') ? "V008 " : "V007 ");
    reading.pass(GetParam().direction, GetParam().bytes);
    EXPECT_THAT(reading.meanings, ElementsAre(testing::_, GetParam().meaning));
}

INSTANTIATE_TEST_SUITE_P(
    Messages, WireReaderTest,
    testing::Values(
        Meant{.direction = Direction::transmit, .bytes = "F2 ", .meaning = "lamp 2 (stop) on"},
        Meant{.direction = Direction::transmit, .bytes = "H46 ", .meaning = "lamp 46 half"},
        Meant{.direction = Direction::transmit, .bytes = "B1 ", .meaning = "lamp 1 (forward) blinking"},
        Meant{.direction = Direction::transmit, .bytes = "O10 ", .meaning = "lamp 10 off"},
        Meant{.direction = Direction::transmit, .bytes = "F47 ", .meaning = "not a command"},
        Meant{.direction = Direction::transmit, .bytes = "F02 ", .meaning = "not a command"},
        Meant{.direction = Direction::transmit, .bytes = "Q ", .meaning = "not a command"},
        Meant{.direction = Direction::transmit, .bytes = "W ", .meaning = "wheel on"},
        Meant{.direction = Direction::transmit, .bytes = "? ", .meaning = "which version?"},
        Meant{.direction = Direction::receive, .bytes = "V007 ", .meaning = "version 7"},
        Meant{.direction = Direction::receive, .bytes = "E ", .meaning = "key E (code 5) pressed"},
        Meant{.direction = Direction::receive, .bytes = "EU ", .meaning = "key E (code 5) released"},
        Meant{.direction = Direction::receive, .bytes = "n ", .meaning = "key n (code 46) pressed"},
        Meant{.direction = Direction::receive, .bytes = "oU ", .meaning = "key o (code 47) released"},
        Meant{.direction = Direction::receive, .bytes = "p ", .meaning = "not a packet"},
        Meant{.direction = Direction::receive, .bytes = "D ", .meaning = "key D (code 4) pressed"},
        Meant{.direction = Direction::receive, .bytes = "DU ", .meaning = "key D (code 4) released"},
        Meant{.direction = Direction::receive, .bytes = "D12 ", .meaning = "ignored"},
        Meant{.direction = Direction::receive, .bytes = "V ", .meaning = "a version that cannot be read"},
        Meant{.direction = Direction::receive, .bytes = "VU ", .meaning = "a version that cannot be read"},
        Meant{.direction = Direction::receive, .bytes = "VXYZ ", .meaning = "a version that cannot be read"},
        Meant{.direction = Direction::receive, .bytes = "\\C8FF1388 ", .meaning = "ring +73, wheel -1.5"},
        Meant{.direction = Direction::receive, .bytes = "L7F00F63C ", .meaning = "ring 0, wheel -0.25"},
        Meant{.direction = Direction::receive, .bytes = "\\C8FF13 ", .meaning = "not a packet"},
        Meant{.direction = Direction::receive, .bytes = "\\C8FFZZZZ ", .meaning = "ring +73, wheel -1"},
        Meant{.direction = Direction::receive, .bytes = "~E ", .meaning = "from the expansion port: key E (code 5) pressed"},
        Meant{.direction = Direction::receive, .bytes = std::string(48, '\xff'), .meaning = "unfinished"}));

TEST(WireReader, BothWays_AtOnce_AreKeptApart) {
    Reading reading;
    reading.hears("V007 ");
    reading.meanings.clear();
    reading.hears("\\C8");
    reading.sends("F2 ");
    reading.hears("000000 E");
    reading.sends("H3 ");
    reading.hears(" ");
    EXPECT_THAT(reading.meanings,
                ElementsAre("lamp 2 (stop) on", "ring +73, wheel +0", "lamp 3 (reverse) half", "key E (code 5) pressed"));
    EXPECT_EQ(reading.reader.look().ring, 200);
    EXPECT_EQ(reading.reader.look().lamp[1], 'F');
    EXPECT_EQ(reading.reader.look().lamp[2], 'H');
    EXPECT_TRUE(reading.reader.look().held[5]);
}

TEST(WireReader, Status_OfAnotherVersionAfter8_IsIgnored) {
    Reading reading;
    const auto& packets = reading.reader.packets();
    for (const char* version : {"V007 ", "V006 "}) {
        reading.hears(version);
        EXPECT_FALSE(packets.onlyVersion8() || packets.statusIgnored()) << version;
    }
    reading.hears("V008 ");
    EXPECT_TRUE(packets.onlyVersion8());
    EXPECT_FALSE(packets.statusIgnored());
    for (const char* version : {"V007 ", "V009 "}) {
        reading.hears(version);
        EXPECT_TRUE(packets.onlyVersion8() && packets.statusIgnored()) << version;
    }
    reading.hears("V008 ");
    EXPECT_FALSE(packets.statusIgnored());
}

}  // namespace
}  // namespace apps_test
