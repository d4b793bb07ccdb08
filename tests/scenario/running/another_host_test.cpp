// A host with other valid key codes than ours: the held marks stay within their table.
#include <climits>

#include "tests/scenario/running/HostSeams.h"
#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

class AnotherHost : public Running {
protected:
    const EveryCodeValid everyCodeValid;
};

}  // namespace

TEST_F(AnotherHost, ParsePacket_EveryOneByteKey_IsDispatchedAndMarkedWithinTheTableAlone) {
    for (int byte = 0; byte < 256; ++byte) {
        if (byte == 'V') continue;
        const int code = static_cast<signed char>(byte) - 0x40;
        std::string expected = bytesOf(console());
        if (code >= 0 && code < 46) {
            const auto offset = &ConsoleTestAccess::keyDown(console(), code) - reinterpret_cast<std::uint8_t*>(&console());
            expected[static_cast<std::size_t>(offset)] = 1;
        }
        const std::string before = bytesOf(console());
        cvhost::keyQueue().clear();
        rig.forget();
        parse({static_cast<char>(byte)});
        EXPECT_EQ(rig.keys().size(), 1u) << byte;
        EXPECT_EQ(bytesOf(console()), expected) << byte;
        EXPECT_EQ(console().key_is_down(code), code >= 0 && code < 46) << byte;
        parse({static_cast<char>(byte), 'U'});
        if (byte != '~') {
            EXPECT_EQ(bytesOf(console()), before) << byte;
        }
    }
}

TEST_F(AnotherHost, KeyIsDown_AnyCodeOutsideTheTable_False) {
    for (const int code : {-1, 46, 47, 48, 1000, -1000, INT_MIN, INT_MAX}) EXPECT_FALSE(console().key_is_down(code)) << code;
}
