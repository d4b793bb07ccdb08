// What a line writer answers when it has finished.
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "apps/common/LineWriter.h"
#include "host/core/FileDescriptor.h"

namespace common {
namespace {

class FinishedOutput : public testing::Test {
protected:
    FinishedOutput() {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) == 0) {
            m_reading = cvhost::FileDescriptor(ends[0]);
            m_writing = cvhost::FileDescriptor(ends[1]);
        }
    }

    cvhost::FileDescriptor m_reading;
    cvhost::FileDescriptor m_writing;
};

LineWriter::Events noEvents() {
    return {.missing = [](std::size_t) { return std::string(); }, .broken = [] {}};
}

TEST_F(FinishedOutput, AllWritten_AnswersZero) {
    LineWriter output(m_writing.get(), noEvents());
    output.put("line\n");
    EXPECT_EQ(output.finish(), 0);
}

TEST_F(FinishedOutput, ReaderStopped_AnswersThatTextIsLeft) {
    LineWriter output(m_writing.get(), noEvents());
    output.put(std::string(500'000, 'x') + '\n');  // more than the pipe holds
    EXPECT_EQ(output.finish(), ETIMEDOUT);
    EXPECT_EQ(output.error(), ETIMEDOUT);
    EXPECT_THAT(unwritableText(ETIMEDOUT), testing::HasSubstr("nobody reads it"));
}

}  // namespace
}  // namespace common
