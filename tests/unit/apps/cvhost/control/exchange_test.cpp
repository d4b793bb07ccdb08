// Events and answers on their way to the thread of the control socket.
#include "apps/cvhost/control/Exchange.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace cvhost::control;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class ExchangeTest : public testing::Test {
protected:
    ExchangeTest() { m_exchange.want(EventKinds().set()); }

    /// What has come, without the times.
    std::vector<std::string> texts() {
        std::vector<std::string> texts;
        for (const Exchange::Item& item : m_exchange.take(false).items) {
            const std::size_t comma = item.line.find(',');
            texts.push_back(item.kind ? item.line.substr(comma + 1)
                                      : "answer to " + std::to_string(item.client) + ": " + item.line);
        }
        return texts;
    }
    static cvhost::KeyQueued key(int code) { return {.code = code, .handled = true, .flags = 0}; }

    Exchange m_exchange{common::RunClock(), true, [] {}};
};

}  // namespace

TEST_F(ExchangeTest, Take_EventsAndAnswers_AreInTheirOrder) {
    m_exchange.answer(7, "");
    m_exchange(cvhost::RtsChange{1});
    m_exchange.answer(8, "no");
    m_exchange.answer(9, "");
    m_exchange(cvhost::ConsoleActive{7});
    m_exchange.answer(7, "late");
    EXPECT_THAT(texts(), ElementsAre("answer to 7: ", "\"event\":\"rts\",\"level\":1}\n", "answer to 8: no", "answer to 9: ",
                                     "\"event\":\"active\",\"version\":7,\"input_ignored\":false}\n", "answer to 7: late"));
    m_exchange(cvhost::KeyReleased{.code = 5});
    EXPECT_THAT(texts(), ElementsAre("\"event\":\"released\",\"code\":5}\n"));
}

TEST_F(ExchangeTest, Take_TextsGoneMeanwhile_LinesAreWhole) {
    std::string text = "one\n";
    m_exchange(cvhost::LogLine{text});
    text = "xxx\n";
    EXPECT_THAT(texts(), ElementsAre("\"event\":\"log\",\"text\":\"one\\n\"}\n"));
}

TEST_F(ExchangeTest, Take_NotWanted_IsLeftOut) {
    m_exchange.want(EventKinds().set(indexOf(EventKind::released)));
    m_exchange(cvhost::RtsChange{1});
    m_exchange(cvhost::KeyReleased{.code = 5});
    EXPECT_THAT(texts(), ElementsAre("\"event\":\"released\",\"code\":5}\n"));
}

TEST_F(ExchangeTest, Take_MoreThanFit_AreCountedAndTheStateIsComplete) {
    constexpr std::size_t many = 100'000;
    for (std::size_t i = 0; i < many; ++i) m_exchange(key(1));
    m_exchange(cvhost::KeyReleased{.code = 1});
    m_exchange(key(2));
    m_exchange.answer(7, "");
    const Exchange::News news = m_exchange.take(true);
    EXPECT_EQ(news.items.size() - 1 + news.missing, many + 2);
    EXPECT_GT(news.missing, 0U);
    EXPECT_EQ(news.items.back().client, 7U);
    EXPECT_THAT(news.desk.text(), HasSubstr("\"held\":[2]"));
}
