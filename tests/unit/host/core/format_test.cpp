// How a log text is made: as printf does, and unharmed by what printf is harmed by.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "host/core/Log.h"

namespace {

std::string format(const char* text, ...) {
    char line[cvhost::logLineSize];
    std::va_list arguments;
    va_start(arguments, text);
    std::string result(cvhost::formatText(line, text, arguments));
    va_end(arguments);
    return result;
}

template <class... Arguments>
void expectAsPrintf(const char* text, Arguments... arguments) {
    char expected[4096];
    const int length = std::snprintf(expected, sizeof expected, text, arguments...);
    ASSERT_GE(length, 0) << text;
    EXPECT_EQ(format(text, arguments...), std::string(expected, static_cast<std::size_t>(length))) << text;
}

constexpr std::size_t longest = cvhost::logLineSize - 1;

}  // namespace

TEST(Format, WholeNumbers_AreAsPrintf) {
    for (const char* text : {"%d", "%i",  "%5d|", "%-5d|", "%05d", "%+d",  "% d", "%.3d", "%8.3d", "%u",      "%x",
                             "%X", "%#x", "%o",   "%#o",   "%hd",  "%hhd", "%hu", "%hhu", "%hhx",  "%+-08d|", "%.0d"}) {
        for (const int value : {0, 1, -1, 42, 300, 70000, INT_MAX, INT_MIN}) expectAsPrintf(text, value);
    }
    for (const char* text : {"%ld", "%lld", "%zd", "%jd", "%td", "%lu", "%zu", "%llx", "%Ld", "%qd"}) {
        for (const long value : {0L, -1L, LONG_MAX, LONG_MIN}) expectAsPrintf(text, value);
    }
}

TEST(Format, Fractions_AreAsPrintf) {
    for (const char* text :
         {"%f", "%.2f", "%10.3f|", "%-10.1f|", "%e", "%E", "%g", "%G", "%a", "%A", "%+.0f", "%#.0f", "%010.2f", "%lf"}) {
        for (const double value : {0.0, -1.5, 1e300, 1e-300, HUGE_VAL, -HUGE_VAL, std::nan("")}) expectAsPrintf(text, value);
    }
    for (const char* text : {"%Lf", "%.3Lg", "%La"}) expectAsPrintf(text, 1.25L);
}

TEST(Format, TextsAndCharacters_AreAsPrintf) {
    for (const char* text : {"%s", "%10s|", "%-10s|", "%.3s", "%10.3s|", "%.0s|", "%.s|"}) expectAsPrintf(text, "packet");
    for (const char* text : {"%c", "%3c|", "%-3c|"}) expectAsPrintf(text, 'k');
    expectAsPrintf("%c|", 0);
    expectAsPrintf("%*d|%-*d|%.*f|%*s", 5, 1, 6, 2, 2, 3.14159, -4, "x");
    expectAsPrintf("%.*s|", -1, "whole");
    expectAsPrintf("%d%%%s", 100, " done");
    expectAsPrintf("%p", static_cast<const void*>("x"));
    expectAsPrintf("%p", static_cast<const void*>(nullptr));
    EXPECT_EQ(format("%s|%ls", static_cast<const char*>(nullptr), static_cast<const wchar_t*>(nullptr)), "(null)|(null)");
}

TEST(Format, WideText_GivesItsBytesWhateverTheLocale) {
    ASSERT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
    EXPECT_EQ(format("port %ls\n", L"/dev/tty\u00E9\U0001D11E"), "port /dev/tty\xC3\xA9\xF0\x9D\x84\x9E\n");
    EXPECT_EQ(format("%ls", L"\xF7E9"), "\xE9");
    EXPECT_EQ(format("%lc%C", static_cast<std::wint_t>(0xE9), static_cast<std::wint_t>(0x20AC)), "\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(format("%5ls|%-5ls|", L"\u00E9", L"\u00E9"), "   \xC3\xA9|\xC3\xA9   |");
    EXPECT_EQ(format("%.3ls|", L"\u00E9\u00E9"), "\xC3\xA9|");
    EXPECT_EQ(format("%S", L"wide"), "wide");
}

TEST(Format, Error_IsTheCallers) {
    errno = ENOENT;
    EXPECT_EQ(format("%m"), "No such file or directory");
}

TEST(Format, CountOfCharacters_WritesNothing) {
    int untouched = 7;
    EXPECT_EQ(format("abc%n%hhn%lnd", &untouched, &untouched, &untouched), "abcd");
    EXPECT_EQ(untouched, 7);
}

TEST(Format, WritableFormatFromTheLine_IsHarmless) {
    char packet[] = "%s%s%n";
    EXPECT_EQ(format(packet, "", "", static_cast<void*>(packet)), "");
}

class Malformed : public testing::TestWithParam<const char*> {};

TEST_P(Malformed, Format_GivesItself) { EXPECT_EQ(format(GetParam(), 1, 2, 3, 4), GetParam()); }

INSTANTIATE_TEST_SUITE_P(Formats, Malformed,
                         testing::Values("%", "50 %", "%d %", "%y", "% ", "%l", "%hh", "%5", "%.", "%1$d", "%2$s%1$s",
                                         "%-+ #0'", "%\xFF", "%d %k\n", "%w8d"));

TEST(Format, EnormousFieldsAndPrecisions_EndAtTheLine) {
    EXPECT_EQ(format("%999999999d", 1), std::string(longest, ' '));
    EXPECT_EQ(format("%-999999999d", 1), "1" + std::string(longest - 1, ' '));
    EXPECT_EQ(format("%0999999999d", 1), std::string(longest, '0'));
    EXPECT_EQ(format("%99999999999999999999d", 1), std::string(longest, ' '));
    EXPECT_EQ(format("%.999999999d", 1), std::string(longest, '0'));
    EXPECT_EQ(format("%.999999999f", 0.0), "0." + std::string(longest - 2, '0'));
    EXPECT_EQ(format("%*d", INT_MAX, 1), std::string(longest, ' '));
    EXPECT_EQ(format("%*d", INT_MIN, 1), "1" + std::string(longest - 1, ' '));
    EXPECT_EQ(format("%.*d", INT_MAX, 1), std::string(longest, '0'));
    EXPECT_EQ(format("%999999999s", "x"), std::string(longest, ' '));
    EXPECT_EQ(format("%999999999ls", L"x"), std::string(longest, ' '));
    EXPECT_EQ(format("%.999999999s", "x"), "x");
}

TEST(Format, LongText_IsCutBetweenCharactersAndKeepsItsNewline) {
    const std::string text(2000, 'x');
    EXPECT_EQ(format("%s", text.c_str()), text.substr(0, longest));
    EXPECT_EQ(format("%s\n", text.c_str()), text.substr(0, longest - 1) + "\n");
    const std::string odd = text.substr(0, longest - 1) + "\xC3\xA9";
    EXPECT_EQ(format("%s", odd.c_str()), text.substr(0, longest - 1));
    EXPECT_EQ(format("%s\n", odd.c_str()), text.substr(0, longest - 1) + "\n");
    EXPECT_EQ(format(text.c_str()), text.substr(0, longest));
    const std::wstring wide(2000, L'\u20AC');
    EXPECT_EQ(format("%ls", wide.c_str()).size(), longest / 3 * 3);
}

TEST(Format, LongTextThatFits_IsWhole) {
    const std::string text(longest, 'x');
    EXPECT_EQ(format("%s", text.c_str()), text);
    EXPECT_EQ(format("%s\n", text.substr(1).c_str()), text.substr(1) + "\n");
}

TEST(Format, TextWithoutAnEnd_IsReadNoFurtherThanItsPrecision) {
    const char bytes[] = {'a', 'b', 'c'};
    const wchar_t characters[] = {L'a', L'b', L'c'};
    EXPECT_EQ(format("%.3s|%.3ls", bytes, characters), "abc|abc");
}
