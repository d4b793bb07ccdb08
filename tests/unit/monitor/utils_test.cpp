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

INSTANTIATE_TEST_SUITE_P(
    Rows, ConsoleHexN,
    testing::Values(HexNRow{.name = "LowerCase", .text = "00f", .count = 3, .value = 15},
                    HexNRow{.name = "UpperCase", .text = "0F", .count = 2, .value = 15},
                    HexNRow{.name = "NoDigits", .text = "zz", .count = 2, .value = 0},
                    HexNRow{.name = "NoDigitBetween", .text = "1z2", .count = 3, .value = 0x102},
                    HexNRow{.name = "CountZero", .text = "12", .count = 0, .value = 0},
                    HexNRow{.name = "CountNegative", .text = "12", .count = -1, .value = 0},
                    HexNRow{.name = "NulEndsEarly", .text = "1", .count = 3, .value = 1},
                    HexNRow{.name = "NulWithin",
                            .text = std::string("12\0"
                                                "34",
                                                5),
                            .count = 5,
                            .value = 0x12},
                    HexNRow{.name = "Empty", .text = "", .count = 4, .value = 0},
                    HexNRow{.name = "FewerThanText", .text = "1234", .count = 2, .value = 0x12},
                    HexNRow{.name = "HighByteIsNoDigit",
                            .text = "\xff"
                                    "1",
                            .count = 2,
                            .value = 1},
                    HexNRow{.name = "NineDigitsKeepTheLowEight", .text = "123456789", .count = 9, .value = 0x23456789},
                    HexNRow{.name = "AllDigits", .text = "89abcdef", .count = 8, .value = 0x89ABCDEF}),
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

INSTANTIATE_TEST_SUITE_P(
    Rows, HexOfText,
    testing::Values(SignedRow{.name = "AllOnes", .text = "ffff", .count = 4, .value = -1},
                    SignedRow{.name = "Lowest", .text = "8000", .count = 4, .value = -32768},
                    SignedRow{.name = "Highest", .text = "7fff", .count = 4, .value = 32767},
                    SignedRow{.name = "LeadingZero", .text = "0a", .count = 2, .value = 10},
                    SignedRow{.name = "OneDigitNegative", .text = "8", .count = 1, .value = -8},
                    SignedRow{.name = "OneDigitPositive", .text = "7", .count = 1, .value = 7},
                    SignedRow{.name = "UpperCase", .text = "FFFE", .count = 4, .value = -2},
                    SignedRow{.name = "NulIsADigitZero",
                              .text = std::string("1\0"
                                                  "2",
                                                  3),
                              .count = 3,
                              .value = 0x102},
                    SignedRow{.name = "NoDigitIsZero", .text = "1g", .count = 2, .value = 0x10},
                    SignedRow{.name = "HighBytesAreNoDigits", .text = "1\xB1\xC1\xE1", .count = 4, .value = 0x1000},
                    SignedRow{.name = "HighByteFirst",
                              .text = "\xB8"
                                      "1",
                              .count = 2,
                              .value = 1},
                    SignedRow{.name = "MoreDigitsThanRead", .text = "12ff", .count = 2, .value = 0x12},
                    SignedRow{.name = "NineDigitsWrap", .text = "123456789", .count = 9, .value = 0x23456789},
                    SignedRow{.name = "CountZeroReadsNothing", .text = "8", .count = 0, .value = 0}),
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

INSTANTIATE_TEST_SUITE_P(
    Rows, HexString,
    testing::Values(HexStringRow{.name = "FourDigits", .value = 0xBEEF, .size = 5, .text = "beef"},
                    HexStringRow{.name = "Padded", .value = 7, .size = 5, .text = "0007"},
                    HexStringRow{.name = "Truncated", .value = 0x12345, .size = 5, .text = "2345"},
                    HexStringRow{.name = "SizeOne", .value = 0x12, .size = 1, .text = ""},
                    HexStringRow{.name = "SizeTwo", .value = 0x12, .size = 2, .text = "2"},
                    HexStringRow{.name = "WiderThanTheValue", .value = 0x89ABCDEF, .size = 11, .text = "0089abcdef"}),
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

INSTANTIATE_TEST_SUITE_P(
    Rows, CalcCrc,
    testing::Values(CheckRow{.name = "NineDigits", .bytes = "123456789", .value = 0x5333},
                    CheckRow{.name = "Byte01", .bytes = "\x01", .value = 0x0080},
                    CheckRow{.name = "Byte80", .bytes = "\x80", .value = 0x0001},
                    CheckRow{.name = "ByteFF", .bytes = "\xff", .value = 0x00FF},
                    CheckRow{.name = "Bytes010000", .bytes = std::string("\1\0\0", 3), .value = 0x1680},
                    CheckRow{.name = "NineDigitsAndTwoZeros", .bytes = std::string("123456789\0\0", 11), .value = 0xE142},
                    CheckRow{.name = "Nothing", .bytes = "", .value = 0},
                    CheckRow{.name = "Zeros", .bytes = std::string(1000, '\0'), .value = 0}),
    [](const auto& row) { return row.param.name; });

TEST(CalcCrcRegister, TopBitSet_FeedsBackTheGenerator) {
    EXPECT_EQ(Utils::calcCRC(0x8000, 0), static_cast<unsigned short>(0x002D << 7));
    EXPECT_EQ(Utils::calcCRC(0x0100, 0), 0x002D);
    EXPECT_EQ(Utils::calcCRC(0x00FF, 0), 0xFF00);
}
