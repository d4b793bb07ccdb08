// Hexadecimal text and the check value of firmware images.
#include "monitor/Utils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace Utils = Cv::Utils;

namespace {

const bool s_allZeroAtLoad =
    std::all_of(std::begin(Utils::console_hex_lut), std::end(Utils::console_hex_lut), [](int value) { return value == 0; });

int digitValue(int character) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto at = digits.find(static_cast<char>(character >= 'A' && character <= 'F' ? character + 'a' - 'A' : character));
    return at == digits.npos ? 0 : static_cast<int>(at);
}

class HexTable : public testing::Test {
protected:
    void SetUp() override { Utils::init(); }
};

std::uint32_t hexN(std::string text, int count) { return Utils::console_hex_n(text.data(), count); }

std::int32_t hexSigned(std::string text, unsigned short count) {
    return Utils::Hex(reinterpret_cast<unsigned char*>(text.data()), count);
}

unsigned short checkValue(std::string_view bytes, unsigned short crc = 0) {
    for (const char byte : bytes) crc = Utils::calcCRC(crc, static_cast<unsigned char>(byte));
    return crc;
}

}  // namespace

TEST(HexTableAtLoad, EveryEntry_IsZero) { EXPECT_TRUE(s_allZeroAtLoad); }

TEST_F(HexTable, Init_EveryCharacter_HasItsDigitValueOrZero) {
    for (int c = 0; c < 256; ++c) EXPECT_EQ(Utils::console_hex_lut[c], digitValue(c)) << "character " << c;
}

TEST_F(HexTable, Init_CalledAgain_RewritesTheSameValues) {
    constexpr std::string_view digits = "0123456789ABCDEFabcdef";
    for (const int digit : digits) Utils::console_hex_lut[digit] = 99;
    Utils::init();
    for (const int digit : digits) EXPECT_EQ(Utils::console_hex_lut[digit], digitValue(digit)) << static_cast<char>(digit);
}

struct HexNRow {
    const char* name;
    std::string text;
    int count;
    std::uint32_t value;
};

class ConsoleHexN : public testing::TestWithParam<HexNRow> {
protected:
    void SetUp() override { Utils::init(); }
};

TEST_P(ConsoleHexN, Text_GivesValue) { EXPECT_EQ(hexN(GetParam().text, GetParam().count), GetParam().value); }

INSTANTIATE_TEST_SUITE_P(Rows, ConsoleHexN,
                         testing::Values(HexNRow{"LowerCase", "00f", 3, 15}, HexNRow{"UpperCase", "0F", 2, 15},
                                         HexNRow{"NoDigits", "zz", 2, 0}, HexNRow{"NoDigitBetween", "1z2", 3, 0x102},
                                         HexNRow{"CountZero", "12", 0, 0}, HexNRow{"CountNegative", "12", -1, 0},
                                         HexNRow{"NulEndsEarly", "1", 3, 1},
                                         HexNRow{"NulWithin",
                                                 std::string("12\0"
                                                             "34",
                                                             5),
                                                 5, 0x12},
                                         HexNRow{"Empty", "", 4, 0}, HexNRow{"FewerThanText", "1234", 2, 0x12},
                                         HexNRow{"HighByteIsNoDigit",
                                                 "\xff"
                                                 "1",
                                                 2, 1},
                                         HexNRow{"NineDigitsKeepTheLowEight", "123456789", 9, 0x23456789},
                                         HexNRow{"AllDigits", "89abcdef", 8, 0x89ABCDEF}),
                         [](const auto& row) { return row.param.name; });

TEST(HexOfCharacter, EveryCode_HasItsDigitValueOrZero) {
    for (unsigned c = 0; c < 256; ++c) EXPECT_EQ(Utils::Hex(c), digitValue(static_cast<int>(c))) << "code " << c;
    for (const unsigned c : {256u + '1', 0xFFFFFFFFu, 0x80000000u + 'a'}) EXPECT_EQ(Utils::Hex(c), 0) << "code " << c;
}

struct SignedRow {
    const char* name;
    std::string text;
    unsigned short count;
    std::int32_t value;
};

class HexOfText : public testing::TestWithParam<SignedRow> {};

TEST_P(HexOfText, Digits_GiveSignedValue) { EXPECT_EQ(hexSigned(GetParam().text, GetParam().count), GetParam().value); }

INSTANTIATE_TEST_SUITE_P(Rows, HexOfText,
                         testing::Values(SignedRow{"AllOnes", "ffff", 4, -1}, SignedRow{"Lowest", "8000", 4, -32768},
                                         SignedRow{"Highest", "7fff", 4, 32767}, SignedRow{"LeadingZero", "0a", 2, 10},
                                         SignedRow{"OneDigitNegative", "8", 1, -8}, SignedRow{"OneDigitPositive", "7", 1, 7},
                                         SignedRow{"UpperCase", "FFFE", 4, -2},
                                         SignedRow{"NulIsADigitZero",
                                                   std::string("1\0"
                                                               "2",
                                                               3),
                                                   3, 0x102},
                                         SignedRow{"NoDigitIsZero", "1g", 2, 0x10},
                                         SignedRow{"HighBytesAreNoDigits", "1\xB1\xC1\xE1", 4, 0x1000},
                                         SignedRow{"HighByteFirst",
                                                   "\xB8"
                                                   "1",
                                                   2, 1},
                                         SignedRow{"MoreDigitsThanRead", "12ff", 2, 0x12},
                                         SignedRow{"NineDigitsWrap", "123456789", 9, 0x23456789},
                                         SignedRow{"CountZeroReadsNothing", "8", 0, 0}),
                         [](const auto& row) { return row.param.name; });

struct HexStringRow {
    const char* name;
    unsigned value;
    unsigned size;
    std::string text;
};

class HexString : public testing::TestWithParam<HexStringRow> {};

TEST_P(HexString, Value_FillsBufferAndNoMore) {
    char buffer[16];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(Utils::HexString(GetParam().value, buffer, GetParam().size), buffer);
    EXPECT_STREQ(buffer, GetParam().text.c_str());
    for (unsigned i = GetParam().size; i < sizeof buffer; ++i) EXPECT_EQ(buffer[i], '#') << "place " << i;
}

INSTANTIATE_TEST_SUITE_P(Rows, HexString,
                         testing::Values(HexStringRow{"FourDigits", 0xBEEF, 5, "beef"}, HexStringRow{"Padded", 7, 5, "0007"},
                                         HexStringRow{"Truncated", 0x12345, 5, "2345"}, HexStringRow{"SizeOne", 0x12, 1, ""},
                                         HexStringRow{"SizeTwo", 0x12, 2, "2"},
                                         HexStringRow{"WiderThanTheValue", 0x89ABCDEF, 11, "0089abcdef"}),
                         [](const auto& row) { return row.param.name; });

TEST(HexStringOfSizeZero, AnyValue_WritesNothing) {
    char buffer = '#';
    EXPECT_EQ(Utils::HexString(0x12, &buffer, 0), &buffer);
    EXPECT_EQ(buffer, '#');
}

struct CheckRow {
    const char* name;
    std::string bytes;
    unsigned short value;
};

class CalcCrc : public testing::TestWithParam<CheckRow> {};

TEST_P(CalcCrc, BytesFromZero_GiveCheckValue) { EXPECT_EQ(checkValue(GetParam().bytes), GetParam().value); }

INSTANTIATE_TEST_SUITE_P(Rows, CalcCrc,
                         testing::Values(CheckRow{"NineDigits", "123456789", 0x5333}, CheckRow{"Byte01", "\x01", 0x0080},
                                         CheckRow{"Byte80", "\x80", 0x0001}, CheckRow{"ByteFF", "\xff", 0x00FF},
                                         CheckRow{"Bytes010000", std::string("\1\0\0", 3), 0x1680},
                                         CheckRow{"NineDigitsAndTwoZeros", std::string("123456789\0\0", 11), 0xE142},
                                         CheckRow{"Nothing", "", 0}, CheckRow{"Zeros", std::string(1000, '\0'), 0}),
                         [](const auto& row) { return row.param.name; });

TEST(CalcCrcRegister, TopBitSet_FeedsBackTheGenerator) {
    EXPECT_EQ(Utils::calcCRC(0x8000, 0), static_cast<unsigned short>(0x002D << 7));
    EXPECT_EQ(Utils::calcCRC(0x0100, 0), 0x002D);
    EXPECT_EQ(Utils::calcCRC(0x00FF, 0), 0xFF00);
}
