// The host's counted string and counted handle.
#include "host/api/LightweightString.h"

#include <gtest/gtest.h>

#include "host/api/Ptr.h"
#include "host/core/Allocator.h"

using Text = LightweightString<char>;

TEST(LightweightString, NullAndEmpty_DifferInIsNullAlone) {
    const Text null;
    const Text empty("");
    EXPECT_TRUE(null.isNull());
    EXPECT_FALSE(empty.isNull());
    EXPECT_TRUE(Text(static_cast<const char*>(nullptr)).isNull());
    EXPECT_TRUE(null.empty());
    EXPECT_TRUE(empty.empty());
    EXPECT_TRUE(null == empty);
    EXPECT_STREQ(null.c_str(), "");
}

TEST(LightweightString, Copies_ShareOneBlockOfTheHost) {
    const auto before = cvhost::allocatorCount();
    {
        Text one("a text");
        const Text copy = one;
        EXPECT_EQ(copy.c_str(), one.c_str());
        EXPECT_EQ(cvhost::allocatorCount().liveBlocks, before.liveBlocks + 1);
        one = Text("another");
        EXPECT_EQ(copy.view(), "a text");
    }
    EXPECT_EQ(cvhost::allocatorCount().liveBlocks, before.liveBlocks);
}

TEST(LightweightString, AssignedToItself_Stays) {
    Text text("stays");
    const Text& same = text;
    text = same;
    EXPECT_EQ(text.view(), "stays");
}

TEST(LightweightString, Search_IsPlainAndMindsCase) {
    const LightweightString<wchar_t> text(L"USB Serial Port");
    EXPECT_TRUE(text.contains(L"Serial"));
    EXPECT_FALSE(text.contains(L"serial"));
    EXPECT_FALSE(LightweightString<wchar_t>().contains(L"x"));
}

TEST(LightweightString, SumAndOrder_AreByCharacters) {
    EXPECT_EQ((Text("ab") + Text("c")).view(), "abc");
    EXPECT_EQ((Text() + Text("c")).view(), "c");
    EXPECT_TRUE(Text("a") < Text("b"));
    EXPECT_TRUE(Text("a") < Text("aa"));
    EXPECT_TRUE(Text() < Text("a"));
}

namespace {
struct Counted final : public iObject {
    explicit Counted(bool& gone) : m_gone(gone) {}
    ~Counted() override { m_gone = true; }
    bool& m_gone;
};
}  // namespace

TEST(Ptr, LastHandle_DeletesTheObject) {
    bool gone = false;
    Cv::Ptr<Counted> one = new Counted(gone);
    EXPECT_EQ(one->references(), 1);
    Cv::Ptr<Counted> other = one;
    EXPECT_EQ(one->references(), 2);
    one = nullptr;
    EXPECT_FALSE(gone);
    const Cv::Ptr<Counted> moved = std::move(other);
    EXPECT_EQ(moved->references(), 1);
    const_cast<Cv::Ptr<Counted>&>(moved) = nullptr;
    EXPECT_TRUE(gone);
}
