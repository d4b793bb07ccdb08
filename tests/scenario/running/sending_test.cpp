// The sending primitives.
#include <set>

#include "tests/scenario/running/Running.h"

using namespace running;

namespace {

class Sending : public Running {};

}  // namespace

TEST_F(Sending, ConsolePuts_Text_SendsItsBytesInOneWrite) {
    EXPECT_TRUE(console().console_puts("F12 "));
    EXPECT_EQ(rig.writes(), Texts{"F12 "});
    EXPECT_EQ(rig.peer().received(), "F12 ");
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(Sending, ConsolePuts_AnyBytes_SentAsTheyAre) {
    EXPECT_TRUE(console().console_puts("\x01\xFF%s\r\n"));
    EXPECT_EQ(rig.sent(), "\x01\xFF%s\r\n");
}

TEST_F(Sending, ConsolePuts_EmptyText_SendsNothingAndIsTrue) {
    EXPECT_TRUE(console().console_puts(""));
    EXPECT_EQ(rig.sent(), "");
}

TEST_F(Sending, ConsolePuts_LongText_SentWhole) {
    const std::string text(3000, 'x');
    EXPECT_TRUE(console().console_puts(text.c_str()));
    EXPECT_EQ(rig.sent(), text);
}

TEST_F(Sending, ConsolePuts_Debug_LogsWithStrayQuote) {
    rig.debug(true);
    console().console_puts("%d ");
    EXPECT_EQ(rig.transcript({Kind::log, Kind::sent}), (Texts{"0.000 log CON:   tx: %d \"\\n", "0.000 sent %d "}));
    EXPECT_EQ(rig.log_formats(), Texts{"CON:   tx: %s\"\n"});
}

TEST_F(Sending, ConsolePuts_PortClosed_FalseAndNothingSentOrLogged) {
    rig.debug(true);
    console().close_port();
    rig.forget();
    EXPECT_FALSE(console().console_puts("F12 "));
    EXPECT_EQ(rig.sent(), "");
    EXPECT_EQ(rig.log(), Texts{});
}

TEST_F(Sending, ConsolePuts_WriteFails_FalseWithoutARetry) {
    rig.debug(true);
    rig.port.failingWrites = 1'000'000;
    EXPECT_FALSE(console().console_puts("F12 "));
    EXPECT_EQ(rig.log(), Texts{"CON:   tx: F12 \"\n"});
    EXPECT_LE(rig.writes().size(), 1u);
    rig.port.failingWrites = 0;
    rig.forget();
    rig.run_for(1min);
    EXPECT_EQ(rig.sent(), "");
}

TEST_F(Sending, ConsolePuts_PortLost_False) {
    rig.port.vanish();
    EXPECT_FALSE(console().console_puts("F12 "));
}

TEST_F(Sending, ConsolePuts_Sent_DoesNotWaitForAnAnswer) {
    const Time before = rig.now();
    console().console_puts("? ");
    EXPECT_EQ(rig.now(), before);
}

TEST_F(Sending, ConsolePuts_Returned_HoldsNoReferenceToThePort) {
    const auto references = ConsoleTestAccess::port(console())->references();
    console().console_puts("F12 ");
    EXPECT_EQ(ConsoleTestAccess::port(console())->references(), references);
}

TEST_F(Sending, Command_EveryCharacter_SendsItAndABlank) {
    for (int c = 1; c < 256; ++c) {
        rig.forget();
        console().command(static_cast<char>(c));
        EXPECT_EQ(rig.writes(), Texts{std::string(1, static_cast<char>(c)) + " "});
    }
}

TEST_F(Sending, Command_ConsoleNotActive_SentAllTheSame) {
    ConsoleTestAccess::state(console()) = 0;
    ConsoleTestAccess::version(console()) = 0;
    console().command('K');
    EXPECT_EQ(rig.sent(), "K ");
}

TEST_F(Sending, Command_PortClosed_NothingSent) {
    console().close_port();
    rig.forget();
    console().command('K');
    EXPECT_EQ(rig.sent(), "");
}

TEST(SendingFromTwoThreads, AnyOrder_CommandsStayWhole) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(seed);
        Rig rig(Rig::Scripted{}, {.seed = seed, .shuffled = true, .stalls = 200'000, .stallAtMost = 1ms});
        rig.activate();
        rig.run_for(1s);
        rig.forget();
        rig.on_thread("one", [&] { rig.console().lights_off(); });
        rig.on_thread("two", [&] { rig.console().enable_wheel(); });
        rig.run_for(10s);
        std::multiset<std::string> expected{"W ", "F4 "};
        for (int lamp = 1; lamp <= 46; ++lamp) expected.insert("O" + std::to_string(lamp) + " ");
        const Texts writes = rig.writes();
        EXPECT_EQ(std::multiset<std::string>(writes.begin(), writes.end()), expected);
    }
}
