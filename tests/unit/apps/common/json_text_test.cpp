// JSON values as their text, held against the library's tree.
#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

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
