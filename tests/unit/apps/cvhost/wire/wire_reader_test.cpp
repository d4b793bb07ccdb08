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
        Meant{Direction::transmit, "F2 ", "lamp 2 (stop) on"}, Meant{Direction::transmit, "H46 ", "lamp 46 half"},
        Meant{Direction::transmit, "B1 ", "lamp 1 (forward) blinking"}, Meant{Direction::transmit, "O10 ", "lamp 10 off"},
        Meant{Direction::transmit, "F47 ", "not a command"}, Meant{Direction::transmit, "F02 ", "not a command"},
        Meant{Direction::transmit, "Q ", "not a command"}, Meant{Direction::transmit, "W ", "wheel on"},
        Meant{Direction::transmit, "? ", "which version?"}, Meant{Direction::receive, "V007 ", "version 7"},
        Meant{Direction::receive, "E ", "key E (code 5) pressed"},
        Meant{Direction::receive, "EU ", "key E (code 5) released"},
        Meant{Direction::receive, "n ", "key n (code 46) pressed"},
        Meant{Direction::receive, "oU ", "key o (code 47) released"}, Meant{Direction::receive, "p ", "not a packet"},
        Meant{Direction::receive, "D ", "key D (code 4) pressed"},
        Meant{Direction::receive, "DU ", "key D (code 4) released"}, Meant{Direction::receive, "D12 ", "ignored"},
        Meant{Direction::receive, "V ", "a version that cannot be read"},
        Meant{Direction::receive, "VU ", "a version that cannot be read"},
        Meant{Direction::receive, "VXYZ ", "a version that cannot be read"},
        Meant{Direction::receive, "\\C8FF1388 ", "ring +73, wheel -1.5"},
        Meant{Direction::receive, "L7F00F63C ", "ring 0, wheel -0.25"},
        Meant{Direction::receive, "\\C8FF13 ", "not a packet"},
        Meant{Direction::receive, "\\C8FFZZZZ ", "ring +73, wheel -1"},
        Meant{Direction::receive, "~E ", "from the expansion port: key E (code 5) pressed"},
        Meant{Direction::receive, std::string(48, '\xff'), "unfinished"}));

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
