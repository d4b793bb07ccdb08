// What clients and the words of `cvhost ctl` ask for.
#include "apps/cvhost/control/Command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <random>
#include <string>
#include <vector>

#include "apps/cvhost/control/Options.h"

namespace {

using cvhost::control::Command;
using cvhost::control::ctlRequest;
using cvhost::control::CtlRequest;
using cvhost::control::EventKind;
using cvhost::control::indexOf;
using cvhost::control::parseCommand;
using cvhost::control::Problem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Why the line is no command; empty if it is one.
std::string problemOf(const std::string& line) {
    const auto parsed = parseCommand(line);
    const auto* problem = std::get_if<Problem>(&parsed);
    return problem == nullptr ? "" : problem->text;
}

Command commandOf(const std::string& line) {
    EXPECT_EQ(problemOf(line), "") << line;
    return std::get<Command>(parseCommand(line));
}

TEST(Command, Lamp_InEachState_IsRead) {
    const std::vector<std::pair<std::string, char>> states{{"off", 'O'}, {"on", 'F'}, {"half", 'H'}, {"blinking", 'B'}};
    for (const auto& [word, state] : states) {
        const Command command = commandOf(R"({"do":"lamp","lamp":46,"state":")" + word + R"("})");
        EXPECT_EQ(command.kind, Command::Kind::lamp);
        EXPECT_EQ(command.lamp, 46);
        EXPECT_EQ(command.state, state);
        EXPECT_FALSE(command.keep);
    }
    EXPECT_TRUE(commandOf(R"({"keep":true,"state":"on","lamp":1,"do":"lamp"})").keep);
}

TEST(Command, OtherKinds_AreRead) {
    EXPECT_TRUE(commandOf(R"({"do":"wheel","state":"on"})").on);
    EXPECT_FALSE(commandOf(R"({"do":"wheel","state":"off"})").on);
    EXPECT_EQ(commandOf(R"({"do":"speed","speed":-32768})").speed, -32768);
    EXPECT_EQ(commandOf(R"({"do":"speed","speed":32768})").speed, 32768);
    EXPECT_EQ(commandOf(R"({"do":"press","key":"E"})").key, 'E');
    EXPECT_EQ(commandOf(R"({"do":"release","key":"\\"})").key, '\\');
    EXPECT_EQ(commandOf(R"( {"do":"status"} )").kind, Command::Kind::status);
    EXPECT_EQ(commandOf(R"({"do":"claim","codes":[0,5,47]})").codes.to_ullong(), 1U << 5 | 1U | 1ULL << 47);
    EXPECT_TRUE(commandOf(R"({"do":"claim","codes":[]})").codes.none());
    const Command subscribe = commandOf(R"({"do":"subscribe","events":["wire","key","key"]})");
    EXPECT_EQ(subscribe.events.count(), 2U);
    EXPECT_TRUE(subscribe.events.test(indexOf(EventKind::wire)) && subscribe.events.test(indexOf(EventKind::key)));
}

struct Wrong {
    std::string line;
    std::string says;
};

class WrongCommand : public testing::TestWithParam<Wrong> {};

TEST_P(WrongCommand, Line_IsRefusedWithWhatToDo) { EXPECT_THAT(problemOf(GetParam().line), HasSubstr(GetParam().says)); }

INSTANTIATE_TEST_SUITE_P(
    Lines, WrongCommand,
    testing::Values(
        Wrong{"", "not JSON; send one object"}, Wrong{"lamp 5 on", "not JSON"}, Wrong{"{\"do\":\"status\"", "not JSON"},
        Wrong{"{\"do\":\"status\"}{}", "not JSON"}, Wrong{std::string("{\"do\":\"sta\0tus\"}", 16), "not JSON"},
        Wrong{"{\"do\":\"\xff\"}", "not JSON"}, Wrong{"null", "not a command"}, Wrong{"[1]", "not a command"},
        Wrong{"{}", "\"do\" is missing"}, Wrong{R"({"do":5})", "\"do\" must be one of lamp, wheel"},
        Wrong{R"({"do":"lmap"})", "there is no command \"lmap\" (did you mean \"lamp\"?); the commands are lamp, wheel"},
        Wrong{R"({"do":"\u0000"})", R"(there is no command "\u0000")"},
        Wrong{R"({"do":"lamp","lamp":5})", "\"state\" is missing"},
        Wrong{R"({"do":"lamp","lmp":5,"state":"on"})", "\"lamp\" has no member \"lmp\" (did you mean \"lamp\"?)"},
        Wrong{R"({"do":"lamp","lamp":0,"state":"on"})", "\"lamp\" must be a whole number from 1 to 46"},
        Wrong{R"({"do":"lamp","lamp":47,"state":"on"})", "from 1 to 46"},
        Wrong{R"({"do":"lamp","lamp":5.0,"state":"on"})", "from 1 to 46"},
        Wrong{R"({"do":"lamp","lamp":"5","state":"on"})", "from 1 to 46"},
        Wrong{R"({"do":"lamp","lamp":1e400,"state":"on"})", "not JSON"},
        Wrong{R"({"do":"lamp","lamp":5,"state":"of"})", "off, on, half, blinking, not \"of\" (did you mean \"off\"?)"},
        Wrong{R"({"do":"lamp","lamp":5,"state":true})", "\"state\" must be one of off, on"},
        Wrong{R"({"do":"lamp","lamp":5,"state":"on","keep":1})", "\"keep\" must be true or false"},
        Wrong{R"({"do":"wheel","state":"half"})", "must be one of off, on, not \"half\""},
        Wrong{R"({"do":"speed","speed":32769})", "from -32768 to 32768"},
        Wrong{R"({"do":"speed","speed":18446744073709551615})", "from -32768 to 32768"},
        Wrong{R"({"do":"speed","speed":-9223372036854775808})", "from -32768 to 32768"},
        Wrong{R"({"do":"claim","codes":5})", "\"codes\" must be a list"},
        Wrong{R"({"do":"claim","codes":[48]})", "each of \"codes\" must be a whole number from 0 to 47"},
        Wrong{R"({"do":"claim","codes":[-1]})", "from 0 to 47"},
        Wrong{R"({"do":"subscribe","events":["keys"]})", "(did you mean \"key\"?)"},
        Wrong{R"({"do":"subscribe","events":[[]]})", "each of \"events\" must be one of log, port"},
        Wrong{R"({"do":"press","key":"?"})", R"(the character on a key, from "@" to "o")"},
        Wrong{R"({"do":"press","key":"EE"})", "the character on a key"},
        Wrong{R"({"do":"press","key":69})", "the character on a key"}, Wrong{std::string(4096, '['), "nested too deep"},
        Wrong{R"({"do":[[[[1]]]]})", "nested too deep"}));

TEST(Command, RandomBytes_AreRefusedInPlainText) {
    std::mt19937 random(7);
    const std::string letters = "{}[]\":,\\u0015dolampstateon\n\xc3\xff ";
    for (int round = 0; round < 20000; ++round) {
        std::string line(random() % 64, ' ');
        for (char& byte : line) byte = letters.at(random() % letters.size());
        for (const char byte : problemOf(line)) ASSERT_GE(static_cast<unsigned char>(byte), 0x20) << line;
    }
}

TEST(CtlRequest, Words_BecomeCommands) {
    const auto commands = [](const std::vector<std::string>& words) {
        return std::get<CtlRequest>(ctlRequest(words)).commands;
    };
    EXPECT_THAT(commands({"watch"}), IsEmpty());
    EXPECT_THAT(commands({"status"}), ElementsAre(R"({"do":"status"})"));
    EXPECT_THAT(commands({"lamp", "5", "on"}), ElementsAre(R"({"do":"lamp","lamp":5,"state":"on","keep":true})"));
    EXPECT_THAT(commands({"wheel", "off"}), ElementsAre(R"({"do":"wheel","state":"off"})"));
    EXPECT_THAT(commands({"speed", "-1024"}), ElementsAre(R"({"do":"speed","speed":-1024,"keep":true})"));
    EXPECT_THAT(commands({"press", "\\"}), ElementsAre(R"({"do":"press","key":"\\"})", R"({"do":"release","key":"\\"})"));
}

TEST(CtlRequest, WrongWords_AreRefused) {
    const auto problem = [](const std::vector<std::string>& words) { return std::get<Problem>(ctlRequest(words)).text; };
    EXPECT_EQ(problem({"lmp", "5", "on"}), "there is no command \"lmp\" (did you mean \"lamp\"?)");
    EXPECT_EQ(problem({"lamp", "5"}), "it is \"lamp N STATE\"");
    EXPECT_EQ(problem({"watch", "me"}), "it is \"watch\"");
    EXPECT_EQ(problem({"lamp", "five", "on"}), "\"lamp\" must be a whole number from 1 to 46");
    EXPECT_EQ(problem({"lamp", "99999999999", "on"}), "\"lamp\" must be a whole number from 1 to 46");
    EXPECT_THAT(problem({"press", "\xff"}), HasSubstr("the character on a key"));
}

}  // namespace
