// JSON values as their text, held against the library's tree.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/JsonText.h"

namespace {

using common::JsonText;
using Tree = nlohmann::ordered_json;

TEST(JsonText, Values_OfEachKind_AreTheTreesText) {
    EXPECT_EQ(JsonText().text(), "null");
    EXPECT_EQ(JsonText(true).text(), "true");
    EXPECT_EQ(JsonText(-7).text(), "-7");
    EXPECT_EQ(JsonText(std::numeric_limits<std::uint64_t>::max()).text(), "18446744073709551615");
    EXPECT_EQ(JsonText(std::numeric_limits<double>::infinity()).text(), "null");
    for (const double number : {0.0, -1.5, 0.1, 1e300}) EXPECT_EQ(JsonText(number).text(), Tree(number).dump());
    for (const std::string text : {"", "a\"\\\n\x01", "\xC3\x9C"}) EXPECT_EQ(JsonText(text).text(), Tree(text).dump());
    EXPECT_EQ(JsonText("\xFF").text(), "\"\xEF\xBF\xBD\"");
}

TEST(JsonText, Ascii_AnyBytes_AreEscapedAndKeepTheirMeaning) {
    const std::pair<std::string, std::string> rows[] = {
        {"a\"\\b", R"("a\"\\b")"},
        {"line\r\n\t", R"("line\r\n\t")"},
        {std::string("\0\x1b[2J\x7f", 6), R"("\u0000\u001b[2J\u007f")"},
        {"\xC3\xA9\xF0\x9F\x8E\xAC", R"("\u00e9\ud83c\udfac")"},  // é and a character beyond 16 bits
        {"\xC2\x9B", R"("\u009b")"},                              // a control character
        {"\xFF", R"("\u00ff")"},
        {"\xC3", R"("\u00c3")"},                      // cut short
        {"\xC0\x80", R"("\u00c0\u0080")"},            // overlong
        {"\xED\xA0\x80", R"("\u00ed\u00a0\u0080")"},  // a surrogate
    };
    for (const auto& [text, json] : rows) EXPECT_EQ(JsonText::ascii(text).text(), json);
}

TEST(JsonText, Bytes_EachOne_IsOneCharacterAgain) {
    std::vector<unsigned char> all(256);
    std::iota(all.begin(), all.end(), 0);
    const std::string json = JsonText::bytes(all).text();
    for (const char character : json) EXPECT_TRUE(character >= 0x20 && character < 0x7F);
    std::string expected;
    for (const unsigned char byte : all) {
        if (byte >= 0x80) expected += static_cast<char>(byte < 0xC0 ? 0xC2 : 0xC3);
        expected += static_cast<char>(byte < 0x80 ? byte : 0x80 | (byte & 0x3F));
    }
    EXPECT_EQ(Tree::parse(json).get<std::string>(), expected);
}

TEST(JsonText, Fixed_AnyNumber_HasItsDigits) {
    EXPECT_EQ(JsonText::fixed(0, 6).text(), "0.000000");
    EXPECT_EQ(JsonText::fixed(12.3456789, 6).text(), "12.345679");
    EXPECT_EQ(JsonText::fixed(std::numeric_limits<double>::lowest(), 16).text().size(), 327U);
    EXPECT_EQ(JsonText::fixed(std::nan(""), 6).text(), "null");
}

TEST(JsonText, Indented_NestedAndEmpty_IsTheTreesText) {
    const auto inner = JsonText::object({{"text", "{[\"\\,:]}"}, {"none", JsonText()}});
    auto outer =
        JsonText::object({{"list", JsonText::list({1, inner, JsonText::list({})})}, {"empty", JsonText::object({})}});
    outer.add("last", "\\");
    const Tree tree = {{"list", {1, {{"text", "{[\"\\,:]}"}, {"none", nullptr}}, Tree::array()}},
                       {"empty", Tree::object()},
                       {"last", "\\"}};
    EXPECT_EQ(outer.text(), tree.dump());
    EXPECT_EQ(outer.indented(), tree.dump(2));
    EXPECT_EQ(JsonText::list({}).indented(), "[]");
}

}  // namespace
