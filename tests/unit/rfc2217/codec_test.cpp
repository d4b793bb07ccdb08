#include "rfc2217/Codec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/unit/rfc2217/Heard.h"

namespace {

using rfc2217::Bytes;
using rfc2217::Codec;
using rfc2217::Command;
using rfc2217::Role;
using rfc2217_test::bytes;
using rfc2217_test::Heard;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int IAC = 255, DONT = 254, DO = 253, WONT = 252, WILL = 251, SB = 250, SE = 240, NOP = 241;
constexpr int BINARY = 0, ECHO_ = 1, SGA = 3, PORT = 44;

std::span<const unsigned char> span(const Bytes& values) { return values; }

/// What `codec` answers to `stream`.
Bytes answers(Codec& codec, const Bytes& stream, Heard& heard) {
    Bytes out;
    codec.receive(stream, heard, out);
    return out;
}

Bytes answers(Codec& codec, const Bytes& stream) {
    Heard heard;
    return answers(codec, stream, heard);
}

std::vector<std::string> entries(const Bytes& stream, Role role = Role::server) {
    Codec codec(role);
    Heard heard;
    answers(codec, stream, heard);
    return heard.entries;
}

TEST(CodecStart, Client_OffersThePortAndAsksForAClearPath) {
    Bytes out;
    Codec(Role::client).start(out);
    EXPECT_EQ(out, bytes({IAC, WILL, BINARY, IAC, DO, BINARY, IAC, WILL, SGA, IAC, DO, SGA, IAC, WILL, PORT}));
}

TEST(CodecStart, Server_AsksForThePortOption) {
    Bytes out;
    Codec(Role::server).start(out);
    EXPECT_EQ(out, bytes({IAC, WILL, BINARY, IAC, DO, BINARY, IAC, WILL, SGA, IAC, DO, SGA, IAC, DO, PORT}));
}

TEST(CodecData, EveryByteValue_ComesBack) {
    Bytes all(256);
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<unsigned char>(i);
    Bytes stream;
    Codec::appendData(all, stream);
    EXPECT_EQ(stream.size(), 256U + 1U);
    EXPECT_THAT(entries(stream), ElementsAre("d" + rfc2217_test::hex(all)));
}

TEST(CodecData, DoubledIac_IsOneByte) { EXPECT_THAT(entries(bytes({'a', IAC, IAC, 'b'})), ElementsAre("d61ff62")); }

TEST(CodecData, OtherTelnetCommands_AreSkipped) {
    EXPECT_THAT(entries(bytes({'a', IAC, NOP, 'b', IAC, SE, 'c'})), ElementsAre("d616263"));
}

struct CommandRow {
    const char* name;
    Command command;
    Bytes value{};
};
void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name << ' ' << rfc2217_test::hex(row.value); }

class CodecCommand : public testing::TestWithParam<CommandRow> {};

TEST_P(CodecCommand, FromClient_IsHeardByServer) {
    Bytes stream;
    Codec(Role::client).appendCommand(GetParam().command, span(GetParam().value), stream);
    EXPECT_EQ(stream[3], static_cast<unsigned char>(GetParam().command));
    EXPECT_THAT(entries(stream), ElementsAre("c" + std::to_string(static_cast<int>(GetParam().command)) + "=" +
                                             rfc2217_test::hex(GetParam().value)));
    EXPECT_THAT(entries(stream, Role::client), IsEmpty());
}

TEST_P(CodecCommand, FromServer_IsNumbered100HigherAndHeardByClient) {
    Bytes stream;
    Codec(Role::server).appendCommand(GetParam().command, span(GetParam().value), stream);
    EXPECT_EQ(stream[3], static_cast<unsigned char>(GetParam().command) + 100);
    EXPECT_THAT(entries(stream, Role::client), ElementsAre("c" + std::to_string(static_cast<int>(GetParam().command)) + "=" +
                                                           rfc2217_test::hex(GetParam().value)));
    EXPECT_THAT(entries(stream, Role::server), IsEmpty());
}

class CodecFixedLength : public testing::TestWithParam<CommandRow> {};

TEST_P(CodecFixedLength, ValueOfAnotherLength_IsDropped) {
    Bytes value = GetParam().value;
    value.push_back(0);
    Bytes stream;
    Codec(Role::client).appendCommand(GetParam().command, span(value), stream);
    value.resize(GetParam().value.empty() ? 2 : GetParam().value.size() - 1);
    Codec(Role::client).appendCommand(GetParam().command, span(value), stream);
    EXPECT_THAT(entries(stream), IsEmpty());
}

const std::vector<CommandRow> ofFixedLength{
    {.name = "baud", .command = Command::setBaudRate, .value = bytes({0, 0, 0x25, 0x80})},
    {.name = "baud", .command = Command::setBaudRate, .value = bytes({IAC, IAC, IAC, IAC})},
    {.name = "data size", .command = Command::setDataSize, .value = bytes({8})},
    {.name = "parity", .command = Command::setParity, .value = bytes({1})},
    {.name = "stop size", .command = Command::setStopSize, .value = bytes({1})},
    {.name = "RTS off", .command = Command::setControl, .value = bytes({12})},
    {.name = "line state", .command = Command::notifyLineState, .value = bytes({0x60})},
    {.name = "modem state", .command = Command::notifyModemState, .value = bytes({IAC})},
    {.name = "suspend", .command = Command::flowControlSuspend},
    {.name = "resume", .command = Command::flowControlResume},
    {.name = "line mask", .command = Command::setLineStateMask, .value = bytes({IAC})},
    {.name = "modem mask", .command = Command::setModemStateMask, .value = bytes({IAC})},
    {.name = "purge", .command = Command::purgeData, .value = bytes({3})}};
const std::vector<CommandRow> signatures{{"signature", Command::signature, bytes({'x', 'y'})},
                                         {"signature", Command::signature, bytes({IAC})},
                                         {"signature", Command::signature, {}}};

INSTANTIATE_TEST_SUITE_P(FixedLength, CodecFixedLength, testing::ValuesIn(ofFixedLength));
INSTANTIATE_TEST_SUITE_P(FixedLength, CodecCommand, testing::ValuesIn(ofFixedLength));
INSTANTIATE_TEST_SUITE_P(Signatures, CodecCommand, testing::ValuesIn(signatures));

TEST(CodecCommands, RtsAndBaudRate_AreTheseBytes) {
    Bytes out;
    const Codec client(Role::client);
    client.appendControl(rfc2217::Control::rtsOff, out);
    client.appendControl(rfc2217::Control::rtsOn, out);
    client.appendBaudRate(9600, out);
    EXPECT_EQ(out, bytes({IAC, SB, PORT, 5,  12,   IAC, SE, IAC, SB,   PORT, 5,   11,
                          IAC, SE, IAC,  SB, PORT, 1,   0,  0,   0x25, 0x80, IAC, SE}));
}

TEST(CodecCommands, BaudRate_IsReadBigEndian) {
    const std::array<unsigned char, 4> value{0xFF, 0x00, 0x25, 0x80};
    EXPECT_EQ(Codec::baudRate(value), 0xFF002580U);
}

TEST(CodecCommands, BeforeAnyNegotiation_AreHeard) {
    Codec server(Role::server);
    Heard heard;
    EXPECT_THAT(answers(server, bytes({IAC, SB, PORT, 5, 12, IAC, SE}), heard), IsEmpty());
    EXPECT_THAT(heard.entries, ElementsAre("c5=0c"));
    EXPECT_FALSE(server.portOptionAgreed());
}

TEST(CodecCommands, TooLong_IsDroppedAndTheNextIsHeard) {
    Bytes stream = bytes({IAC, SB, PORT, 0});
    stream.insert(stream.end(), 300, 'x');
    for (const int byte : {IAC, SE, IAC, SB, PORT, 5, 11, IAC, SE}) stream.push_back(static_cast<unsigned char>(byte));
    EXPECT_THAT(entries(stream), ElementsAre("c5=0b"));
}

TEST(CodecCommands, OfTheGreatestLength_IsHeardWhole) {
    Bytes stream;
    Codec(Role::client).appendCommand(Command::signature, span(Bytes(254, 'x')), stream);
    EXPECT_EQ(entries(stream).at(0).size(), 3U + 254U * 2U);
    stream.clear();
    Codec(Role::client).appendCommand(Command::signature, span(Bytes(255, 'x')), stream);
    EXPECT_THAT(entries(stream), IsEmpty());
}

TEST(CodecCommands, UnknownEmptyOrOfAnotherOption_AreDropped) {
    EXPECT_THAT(entries(bytes({IAC, SB, PORT, 13, 1, IAC, SE})), IsEmpty());
    EXPECT_THAT(entries(bytes({IAC, SB, PORT, 99, 1, IAC, SE})), IsEmpty());
    EXPECT_THAT(entries(bytes({IAC, SB, 24, 1, IAC, SE})), IsEmpty());
    EXPECT_THAT(entries(bytes({IAC, SB, IAC, SE})), IsEmpty());
    EXPECT_THAT(entries(bytes({IAC, SB, PORT, IAC, SE})), IsEmpty());
}

TEST(CodecCommands, BrokenOffByAnotherTelnetCommand_IsDroppedAndThatOneObeyed) {
    Codec server(Role::server);
    Heard heard;
    EXPECT_EQ(answers(server, bytes({IAC, SB, PORT, 5, 12, IAC, DO, SGA, 'a'}), heard), bytes({IAC, WILL, SGA}));
    EXPECT_THAT(heard.entries, ElementsAre("d61"));
}

TEST(CodecNegotiation, Wish_IsAgreedToOnce) {
    Codec server(Role::server);
    EXPECT_EQ(answers(server, bytes({IAC, WILL, PORT})), bytes({IAC, DO, PORT}));
    EXPECT_THAT(answers(server, bytes({IAC, WILL, PORT})), IsEmpty());
    EXPECT_EQ(answers(server, bytes({IAC, DO, PORT})), bytes({IAC, WILL, PORT}));
    EXPECT_THAT(answers(server, bytes({IAC, DO, PORT})), IsEmpty());
    EXPECT_TRUE(server.portOptionAgreed());
}

TEST(CodecNegotiation, Withdrawal_IsAcceptedOnce) {
    Codec server(Role::server);
    EXPECT_THAT(answers(server, bytes({IAC, DONT, SGA, IAC, WONT, SGA})), IsEmpty());
    answers(server, bytes({IAC, DO, SGA, IAC, WILL, SGA}));
    EXPECT_EQ(answers(server, bytes({IAC, DONT, SGA, IAC, WONT, SGA})), bytes({IAC, WONT, SGA, IAC, DONT, SGA}));
    EXPECT_THAT(answers(server, bytes({IAC, DONT, SGA, IAC, WONT, SGA})), IsEmpty());
}

TEST(CodecNegotiation, OtherOptions_AreRefused) {
    Codec server(Role::server);
    EXPECT_EQ(answers(server, bytes({IAC, DO, ECHO_, IAC, WILL, 24})), bytes({IAC, WONT, ECHO_, IAC, DONT, 24}));
    EXPECT_THAT(answers(server, bytes({IAC, DONT, ECHO_, IAC, WONT, 24})), IsEmpty());
}

TEST(CodecNegotiation, AnswerToOurOffer_IsNotAnswered) {
    Codec client(Role::client);
    Bytes offers;
    client.start(offers);
    EXPECT_THAT(answers(client, bytes({IAC, DO, PORT, IAC, DONT, BINARY, IAC, WILL, SGA, IAC, WONT, BINARY})), IsEmpty());
    EXPECT_TRUE(client.portOptionAgreed());
}

TEST(CodecNegotiation, ClientAndServer_SettleWithoutALoop) {
    Codec client(Role::client), server(Role::server);
    Heard heard;
    Bytes toServer, toClient;
    client.start(toServer);
    server.start(toClient);
    int rounds = 0;
    for (; rounds < 10 && !(toServer.empty() && toClient.empty()); ++rounds) {
        const Bytes forServer = std::exchange(toServer, {}), forClient = std::exchange(toClient, {});
        server.receive(forServer, heard, toClient);
        client.receive(forClient, heard, toServer);
    }
    EXPECT_LT(rounds, 3);
    EXPECT_TRUE(client.portOptionAgreed());
    EXPECT_TRUE(server.portOptionAgreed());
    EXPECT_THAT(heard.entries, IsEmpty());
}

struct Transcript {
    std::vector<std::string> entries;
    Bytes answers;
    bool operator==(const Transcript&) const = default;
};

/// Hears `stream` cut before each of `cuts`, which rise.
Transcript runOf(const Bytes& stream, const std::vector<std::size_t>& cuts) {
    Codec codec(Role::server);
    Heard heard;
    Transcript run;
    std::size_t from = 0;
    const auto take = [&](std::size_t to) {
        codec.receive(span(stream).subspan(from, to - from), heard, run.answers);
        from = to;
    };
    for (const std::size_t cut : cuts) take(cut);
    take(stream.size());
    run.entries = heard.entries;
    return run;
}

TEST(CodecSplitting, AtEveryByte_ChangesNothing) {
    Bytes stream;
    Codec client(Role::client);
    client.start(stream);
    client.appendBaudRate(0xFFFF00FF, stream);
    Codec::appendData(bytes({'H', ' ', IAC, IAC, '\r'}), stream);
    client.appendControl(rfc2217::Control::rtsOff, stream);
    Codec::appendData(bytes({IAC}), stream);
    client.appendCommand(Command::signature, span(bytes({IAC, SE, SB})), stream);
    const Transcript whole = runOf(stream, {});
    EXPECT_THAT(whole.entries, ElementsAre("c1=ffff00ff", "d4820ffff0d", "c5=0c", "dff", "c0=fff0fa"));
    std::vector<std::size_t> everywhere;
    for (std::size_t cut = 1; cut < stream.size(); ++cut) {
        EXPECT_EQ(runOf(stream, {cut}), whole) << "cut before byte " << cut;
        everywhere.push_back(cut);
    }
    EXPECT_EQ(runOf(stream, everywhere), whole);
}

/// Random bytes, every other one from telnet's own.
Bytes junk(std::mt19937& random, std::size_t size) {
    static const Bytes telnet =
        bytes({IAC, IAC, IAC, SB, SB, SE, WILL, WONT, DO, DONT, PORT, PORT, SGA, BINARY, 1, 5, 100, 101});
    Bytes result(size);
    for (unsigned char& byte : result) {
        const auto number = random();
        byte = number % 2 == 0 ? telnet[number / 2 % telnet.size()] : static_cast<unsigned char>(number >> 8);
    }
    return result;
}

class CodecJunk : public testing::TestWithParam<unsigned> {};

TEST_P(CodecJunk, HoweverSplit_IsHeardTheSameBoundedAndGotOver) {
    std::mt19937 random(GetParam());
    const Bytes stream = junk(random, 1 + random() % 5000);
    std::vector<std::size_t> cuts;
    for (std::size_t cut = 0; cut < stream.size(); cut += 1 + random() % 40) cuts.push_back(cut);
    const Transcript whole = runOf(stream, {});
    EXPECT_EQ(runOf(stream, cuts), whole);
    EXPECT_LE(whole.answers.size(), stream.size());

    Codec codec(Role::server);
    Heard heard;
    answers(codec, stream, heard);
    heard.entries.clear();
    answers(codec, bytes({0, 0, IAC, SE, 'a', IAC, SB, PORT, 5, 11, IAC, SE, 'b'}), heard);
    ASSERT_GE(heard.entries.size(), 3U);
    EXPECT_TRUE(heard.entries.end()[-3].ends_with("61"));
    EXPECT_EQ(heard.entries.end()[-2], "c5=0b");
    EXPECT_EQ(heard.entries.end()[-1], "d62");
}

INSTANTIATE_TEST_SUITE_P(Seeds, CodecJunk, testing::Range(1U, 201U));

}  // namespace
