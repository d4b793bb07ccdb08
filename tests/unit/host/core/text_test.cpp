// UTF-8 to wide text and back.
#include "host/core/Text.h"

#include <gtest/gtest.h>

using cvhost::narrow;
using cvhost::widen;

namespace {
std::wstring wide(std::string_view text) { return std::wstring(widen(text).view()); }
}  // namespace

TEST(Widen, WellFormedText_GivesItsCharacters) {
    EXPECT_EQ(wide("/dev/ttyUSB0"), L"/dev/ttyUSB0");
    EXPECT_EQ(wide("\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E"), L"\u00E9\u20AC\U0001D11E");
    EXPECT_EQ(wide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
    EXPECT_FALSE(widen("").isNull());
}

struct BadRow {
    const char* name;
    std::string_view bytes;
    std::wstring_view characters;
};

class BadUtf8 : public testing::TestWithParam<BadRow> {};

TEST_P(BadUtf8, EveryByte_BecomesItsOwnCharacterAndBack) {
    EXPECT_EQ(wide(GetParam().bytes), GetParam().characters);
    EXPECT_EQ(narrow(wide(GetParam().bytes)), GetParam().bytes);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BadUtf8,
    testing::Values(BadRow{.name = "LoneLead", .bytes = "\xE9", .characters = L"\xF7E9"},
                    BadRow{.name = "LoneTail", .bytes = "\x80z", .characters = L"\xF780z"},
                    BadRow{.name = "CutShort", .bytes = "\xE2\x82", .characters = L"\xF7E2\xF782"},
                    BadRow{.name = "TailMissing", .bytes = "\xE2z\x82", .characters = L"\xF7E2z\xF782"},
                    BadRow{.name = "Overlong2", .bytes = "\xC0\x80", .characters = L"\xF7C0\xF780"},
                    BadRow{.name = "Overlong3", .bytes = "\xE0\x80\x80", .characters = L"\xF7E0\xF780\xF780"},
                    BadRow{.name = "Surrogate", .bytes = "\xED\xA0\x80", .characters = L"\xF7ED\xF7A0\xF780"},
                    BadRow{.name = "BeyondTheLast", .bytes = "\xF4\x90\x80\x80", .characters = L"\xF7F4\xF790\xF780\xF780"},
                    BadRow{.name = "NeverALead", .bytes = "\xFF\xFE\xF8", .characters = L"\xF7FF\xF7FE\xF7F8"},
                    BadRow{.name = "ItsOwnEscape", .bytes = "\xEF\x9F\xA9", .characters = L"\xF7EF\xF79F\xF7A9"}),
    [](const auto& row) { return row.param.name; });

TEST(Narrow, EveryTwoBytes_ComeBackAsTheyWere) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(narrow(wide(bytes)), bytes) << first << ' ' << second;
        }
    }
}

TEST(Narrow, EveryCharacter_ComesBackAsItWas) {
    for (std::uint32_t code = 1; code <= 0x10FFFF; ++code) {
        if ((code >= 0xD800 && code <= 0xDFFF) || (code >= 0xF780 && code <= 0xF7FF)) continue;
        const std::wstring character(1, static_cast<wchar_t>(code));
        ASSERT_EQ(wide(narrow(character)), character) << code;
    }
}

TEST(Narrow, NoCharacter_BecomesTheReplacement) {
    for (const std::uint32_t code : {0xD800U, 0xDFFFU, 0x110000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(narrow(std::wstring(1, static_cast<wchar_t>(code))), "\xEF\xBF\xBD") << code;
    }
}

TEST(WStringFromAscii, Null_GivesNull) {
    EXPECT_TRUE(Cv::WStringFromAscii(nullptr).isNull());
    EXPECT_FALSE(Cv::WStringFromAscii("").isNull());
    EXPECT_TRUE(Cv::WStringFromAscii("tty").view() == L"tty");
}
