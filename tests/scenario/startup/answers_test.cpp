// Answers of the host other than the usual 0 and -1: a write fails with anything but 0, a byte is there with 0 alone, none
// with -1 alone, a wait timed out with 1 alone.
#include <climits>

#include "tests/scenario/startup/StartupTest.h"

namespace startup {
namespace {

std::string nameOf(int answer) {
    std::string text = std::to_string(answer);
    if (answer < 0) text.replace(0, 1, "Minus");
    return text;
}

class WriteAnswerTest : public DialogueTest, public testing::WithParamInterface<int> {
protected:
    /// Answers the write number `number`, the first being 0, with the parameter.
    void answerWrite(int number) {
        hooks().putchs = [left = number, answer = GetParam()](const std::string&) mutable {
            return left-- == 0 ? std::optional(answer) : std::nullopt;
        };
    }
};

TEST_P(WriteAnswerTest, ConsolePuts_Answer_IsAFailure) {
    answerWrite(0);
    EXPECT_FALSE(console.console_puts("F5 "));
    EXPECT_TRUE(console.console_puts("F5 "));
}

TEST_P(WriteAnswerTest, SendString_Answer_IsAFailureAndNothingIsRead) {
    answerWrite(0);
    EXPECT_FALSE(console.SendString("H "));
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST_P(WriteAnswerTest, Dialogue_AnswerAtAnyWrite_EndsItThere) {
    unsigned short crc = 0x5A5A;
    for (int write = 0; write < 3; ++write) {
        rig.forget();
        answerWrite(write);
        EXPECT_FALSE(console.GetCRC(0, crc));
        EXPECT_EQ(rig.writes().size(), static_cast<std::size_t>(write));
    }
    EXPECT_EQ(crc, 0x5A5A);
    for (int write = 0; write < 2; ++write) {
        rig.forget();
        answerWrite(write);
        EXPECT_FALSE(console.RunProgram());
        EXPECT_EQ(rig.writes().size(), static_cast<std::size_t>(write));
    }
    rig.peer().answerReset(std::string(prompt), 20ms);
    for (int write = 0; write < 2; ++write) {
        rig.forget();
        answerWrite(write);
        EXPECT_FALSE(console.PortActive());
        EXPECT_EQ(rig.writes().size(), static_cast<std::size_t>(write));
    }
    EXPECT_EQ(ShuttlePacketSize, 0);
}

TEST_P(WriteAnswerTest, Commands_AnswerAtAnyWrite_StateIsKeptAndTheRestIsSent) {
    ConsoleTestAccess::monitorMode(console) = false;
    rig.receives("V007 ");
    answerWrite(0);
    console.lamp_set(5, 'F');
    console.lamp_set(5, 'F');
    EXPECT_EQ(rig.sent(), "") << "a lamp that could not be sent counts as set";
    answerWrite(0);
    console.enable_wheel();
    EXPECT_TRUE(console.wheel_enabled());
    EXPECT_EQ(rig.sent(), "F4 ");
    answerWrite(1);
    console.disable_wheel();
    EXPECT_FALSE(console.wheel_enabled());
    EXPECT_EQ(rig.sent(), "F4 X ");
    answerWrite(1);
    console.show_ispeed(0);
    EXPECT_EQ(rig.sent(), "F4 X O3 O1 ");
    rig.forget();
    answerWrite(20);
    console.lights_off();
    EXPECT_EQ(rig.writes().size(), 45u);
}

TEST_P(WriteAnswerTest, OpenDriver_EveryWriteAnswersSo_StillAsksSixTimes) {
    int requests = 0;
    hooks().putchs = [&](const std::string& text) {
        requests += text == "? " ? 1 : 0;
        return std::optional(GetParam());
    };
    EXPECT_FALSE(console.open_driver());
    EXPECT_EQ(requests, 6);
}

INSTANTIATE_TEST_SUITE_P(Answers, WriteAnswerTest, testing::Values(1, 2, 3, 255, 256, INT_MAX, -1, -2, -256, INT_MIN),
                         [](const auto& answer) { return nameOf(answer.param); });

class GetcAnswerTest : public DialogueTest, public testing::WithParamInterface<int> {
protected:
    /// Every other call is answered with the parameter, and takes no byte.
    void answerEveryOther() {
        hooks().getc = [isTurn = false, answer = GetParam()]() mutable {
            isTurn = !isTurn;
            return isTurn ? std::optional(answer) : std::nullopt;
        };
    }
};

TEST_P(GetcAnswerTest, ReadString_Answer_StoresNothingAndGoesOn) {
    char buffer[8] = {};
    rig.peer_sends("ABCD");
    answerEveryOther();
    EXPECT_EQ(console.ReadString(buffer, 4), 4u);
    EXPECT_STREQ(buffer, "ABCD");
}

TEST_P(GetcAnswerTest, Dialogue_Answer_ChangesNoResult) {
    answerEveryOther();
    rig.peer_sends(prompt);
    EXPECT_TRUE(console.GetConsolePrompt());
    echoes("C 0100 0 ");
    echoes("0007");
    replies("\r\nCRC = 1a2b\r\nEPROM>");
    unsigned short crc = 0;
    EXPECT_TRUE(console.GetCRC(7, crc));
    EXPECT_EQ(crc, 0x1A2B);
}

TEST_P(GetcAnswerTest, RxInterruptChar_Answer_IsNoByteAndEndsTheCall) {
    ConsoleTestAccess::monitorMode(console) = false;
    rig.receives("V00");
    hooks().getc = [answer = GetParam()] { return std::optional(answer); };
    rig.port.inject("7");
    EXPECT_TRUE(console.rx_interrupt_char());
    EXPECT_FALSE(console.active());
    hooks().getc = nullptr;
    rig.receives(" ");
    EXPECT_TRUE(console.active()) << "nothing was lost or doubled";
    EXPECT_EQ(ConsoleTestAccess::version(console), 7);
}

INSTANTIATE_TEST_SUITE_P(Answers, GetcAnswerTest, testing::Values(1, 2, 255, INT_MAX, -2, -3, -255, INT_MIN),
                         [](const auto& answer) { return nameOf(answer.param); });

/// An event whose waits end at once with one answer.
class AnsweringEvent final : public iThreadEvent {
public:
    explicit AnsweringEvent(int answer) : m_answer(answer) {}
    int wait(unsigned) override { return m_answer; }
    void signal() override {}
    void reset() override {}

private:
    int m_answer;
};

class WaitAnswerTest : public DialogueTest, public testing::WithParamInterface<int> {};

TEST_P(WaitAnswerTest, ReadString_Answer_ReadsWhatIsThereAndLogsOneAsTimeOut) {
    rig.debug(true);
    rig.peer_sends("AB");
    rig.run_for(10ms);
    ConsoleTestAccess::rxEvent(console) = Cv::Ptr<iThreadEvent>(new AnsweringEvent(GetParam()));
    rig.forget();
    char buffer[8] = {};
    EXPECT_EQ(console.ReadString(buffer, 4), 2u);
    EXPECT_EQ(rig.log(),
              Texts{std::string("CON:   ReadString: AB (bytesRead: 2 timeout ") + (GetParam() == 1 ? "1" : "0") + ")\n"});
}

INSTANTIATE_TEST_SUITE_P(Answers, WaitAnswerTest, testing::Values(0, 1, 2, 3, 258, INT_MAX, -1, -2, INT_MIN),
                         [](const auto& answer) { return nameOf(answer.param); });

class PortErrorTest : public DialogueTest, public testing::WithParamInterface<int> {};

TEST_P(PortErrorTest, OpenPort_AnyError_HeldWithoutCallback) {
    console.close_port();
    rig.port.openError = GetParam();
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(rig.world.serial().handlerCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Errors, PortErrorTest, testing::Values(1, 5, 255, INT_MAX, -1, -2, INT_MIN),
                         [](const auto& answer) { return nameOf(answer.param); });

}  // namespace
}  // namespace startup
