// The word that was meant.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "apps/common/Nearest.h"

namespace common {
namespace {

const std::vector<std::string> words{"console_port", "console_debug", "--for", "run", "HardwareConsoleEnabled"};

TEST(Nearest, Word_MistypedALittle_IsFound) {
    EXPECT_EQ(common::nearest("console_prot", words), "console_port") << "two exchanged";
    EXPECT_EQ(common::nearest("--fur", words), "--for") << "one changed";
    EXPECT_EQ(common::nearest("HardwareConsoleEnabld", words), "HardwareConsoleEnabled") << "one missing";
    EXPECT_EQ(common::nearest("runn", words), "run") << "one added";
    EXPECT_EQ(common::nearest("CONSOLE_PORT", words), "console_port") << "case";
}

TEST(Nearest, Word_OtherThanAll_NoneIsFound) {
    EXPECT_EQ(common::nearest("walk", words), "");
    EXPECT_EQ(common::nearest("rum_x", words), "");
    EXPECT_EQ(common::nearest("", words), "");
    EXPECT_EQ(common::nearest("ab", std::vector<std::string>{"c", "a"}), "") << "a letter is like each other letter";
}

TEST(Nearest, SeveralAlike_TheMostAlikeIsFound) {
    EXPECT_EQ(common::nearest("/dev/ttyUSB2", std::vector<std::string>{"/dev/ttyS2", "/dev/ttyUSB1", "/dev/ttyUSB0"}),
              "/dev/ttyUSB1");
}

TEST(Nearest, Word_OfAnyLength_IsBounded) {
    const std::string longest(64, 'a');
    EXPECT_EQ(common::nearest(longest, std::vector{longest}), longest);
    EXPECT_EQ(common::nearest(longest + 'a', std::vector{longest}), "");
    EXPECT_EQ(common::nearest(longest, std::vector{longest + 'a'}), "");
    EXPECT_EQ(common::nearest(std::string(1 << 20, 'a'), words), "");
}

TEST(DidYouMean, Word_IsAsked) {
    EXPECT_EQ(common::didYouMean("run"), " (did you mean \"run\"?)");
    EXPECT_EQ(common::didYouMean(""), "");
}

}  // namespace
}  // namespace common
