// Lines from a client, and those that it has not taken.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/cvhost/control/Backlog.h"
#include "apps/cvhost/control/LineBuffer.h"

namespace {

using cvhost::control::Backlog;
using cvhost::control::LineBuffer;

constexpr std::size_t longest = LineBuffer::longestLine;

/// All whole lines; "!" for one that is too long.
std::vector<std::string> taken(LineBuffer& buffer) {
    std::vector<std::string> lines;
    while (const auto line = buffer.take()) lines.push_back(line->tooLong ? "!" : line->text);
    return lines;
}

using Lines = std::vector<std::string>;

TEST(LineBuffer, Lines_InAnyPieces_AreTheSame) {
    const std::string text = "one\n\ntwo\r\nthree";
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        LineBuffer buffer;
        Lines lines;
        for (std::size_t at = 0; at < text.size(); at += piece) {
            buffer.add(std::string_view(text).substr(at, piece));
            for (const std::string& line : taken(buffer)) lines.push_back(line);
        }
        EXPECT_EQ(lines, (Lines{"one", "", "two\r"})) << piece;
        EXPECT_FALSE(buffer.hasLine());
        buffer.add("\n");
        EXPECT_TRUE(buffer.hasLine());
        EXPECT_EQ(taken(buffer), Lines{"three"}) << piece;
    }
}

TEST(LineBuffer, LineOfTheLongestLength_IsTaken) {
    LineBuffer buffer;
    buffer.add(std::string(longest, 'x'));
    EXPECT_EQ(taken(buffer), Lines{});
    buffer.add("\n");
    EXPECT_EQ(taken(buffer), Lines{std::string(longest, 'x')});
}

TEST(LineBuffer, LineThatIsTooLong_IsToldOnceAndDroppedToItsEnd) {
    LineBuffer buffer;
    buffer.add(std::string(longest + 1, 'x'));
    EXPECT_TRUE(buffer.hasLine());
    EXPECT_EQ(taken(buffer), Lines{"!"}) << "before its end";
    for (int i = 0; i < 100; ++i) {
        buffer.add(std::string(longest, 'y'));
        EXPECT_EQ(taken(buffer), Lines{});
    }
    buffer.add("end\nnext\n");
    EXPECT_EQ(taken(buffer), Lines{"next"});
    buffer.add(std::string(longest + 1, 'x') + "\nlast\n");
    EXPECT_EQ(taken(buffer), (Lines{"!", "last"}));
}

TEST(LineBuffer, NulBytes_StayInTheirLine) {
    LineBuffer buffer;
    buffer.add(std::string("a\0b\n", 4));
    EXPECT_EQ(taken(buffer), Lines{std::string("a\0b", 3)});
}

TEST(Backlog, LineBeyondTheLimit_IsRefusedWhole) {
    Backlog backlog;
    EXPECT_TRUE(backlog.add(std::string(Backlog::limit, 'x')));
    EXPECT_FALSE(backlog.add("y"));
    EXPECT_EQ(backlog.unsent(), std::string(Backlog::limit, 'x'));
    backlog.sent(1);
    EXPECT_TRUE(backlog.add("y"));
    EXPECT_EQ(backlog.unsent(), std::string(Backlog::limit - 1, 'x') + 'y');
    backlog.sent(Backlog::limit);
    EXPECT_EQ(backlog.unsent(), "");
    EXPECT_TRUE(backlog.add("z"));
    EXPECT_EQ(backlog.unsent(), "z");
}

}  // namespace
