// What docs/protocol.md shows is what driver and desk do.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "desk/Monitor.h"
#include "monitor/Utils.h"
#include "tests/scenario/protocol/Document.h"

namespace protocol {
namespace {

using testing::IsEmpty;
using testing::Not;

class ProtocolExample : public testing::TestWithParam<Example> {};

TEST_P(ProtocolExample, Document_PlayedToTheDriver_AsWritten) { EXPECT_THAT(playToDriver(GetParam()), IsEmpty()); }
TEST_P(ProtocolExample, Document_PlayedToTheDesk_AsWritten) { EXPECT_THAT(playToDesk(GetParam()), IsEmpty()); }

/// One step left out: what it brought about, or what brought it about, is then missing on one side or the other.
TEST_P(ProtocolExample, Document_WithoutOneStep_NotAsWrittenOnOneSideAtLeast) {
    for (std::size_t left = 1; left < GetParam().steps.size(); ++left) {
        const std::string verb = GetParam().steps[left].verb;
        if (verb != "console" && verb != "driver") continue;
        Example example = GetParam();
        example.steps.erase(example.steps.begin() + static_cast<std::ptrdiff_t>(left));
        const bool differs = !playToDriver(example).empty() || !playToDesk(example).empty();
        EXPECT_TRUE(differs) << "without line " << GetParam().steps[left].line;
    }
}

INSTANTIATE_TEST_SUITE_P(Document, ProtocolExample, testing::ValuesIn(examplesIn(PROTOCOL_DOCUMENT)),
                         [](const auto& row) { return row.param.name; });

TEST(ProtocolCheckValue, Document_EachRow_IsWhatDriverAndDeskFind) {
    const auto rows = checkValuesIn(PROTOCOL_DOCUMENT);
    ASSERT_THAT(rows, Not(IsEmpty()));
    for (const auto& [bytes, value] : rows) {
        unsigned short driver = 0;
        std::uint16_t desk = 0;
        for (const char byte : bytes) {
            driver = Cv::Utils::calcCRC(driver, static_cast<unsigned char>(byte));
            desk = desk::checkValue(desk, static_cast<unsigned char>(byte));
        }
        EXPECT_EQ(driver, value) << testing::PrintToString(bytes);
        EXPECT_EQ(desk, value) << testing::PrintToString(bytes);
    }
}

}  // namespace
}  // namespace protocol
