// What clients have done to a console that is a few values.
#include "apps/cvhost/control/Actions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/cvhost/transport/ClipDeck.h"
#include "tests/support/ValueConsole.h"

namespace {

using cvhost::control::Actions;
using cvhost::control::Command;
using cvhost::transport::ClipDeck;
using cvhost::transport::ConsoleTransport;
using cvhost::transport::Time;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr cvhost::control::ClientId client = 1;
constexpr int playKey = 11;
constexpr int stopKey = 12;

Command lamp(int number, char state, bool keep = false) {
    return {.kind = Command::Kind::lamp, .lamp = number, .state = state, .keep = keep};
}

Command speed(int value, bool keep = false) { return {.kind = Command::Kind::speed, .speed = value, .keep = keep}; }

class ControlActions : public testing::Test {
protected:
    /// The speeds that have been shown since the last call, by client and transport.
    std::vector<int> shown() {
        m_transport.advance(m_console);
        return std::exchange(m_console.shown, {});
    }

    ValueConsole m_console;
    Time m_now = std::chrono::seconds(1);
    ClipDeck m_deck{{}, [this] { return m_now += std::chrono::milliseconds(1); }};
    ConsoleTransport m_transport{m_deck};
    Actions m_actions{
        {.console = m_console, .lendLamps = [this] { m_transport.lendLamps(); }, .transport = m_transport, .desk = nullptr}};
};

TEST_F(ControlActions, Lamps_GivenBack_GoOffUnlessKept) {
    EXPECT_EQ(m_actions.perform(client, lamp(5, 'F')), "");
    EXPECT_EQ(m_actions.perform(client, lamp(46, 'B', true)), "");
    EXPECT_EQ(m_console.lamps[5], 'F');
    EXPECT_EQ(m_console.lamps[46], 'B');
    m_actions.leave(client);
    EXPECT_EQ(m_console.lamps[5], 'O');
    EXPECT_EQ(m_console.lamps[46], 'B');
    m_console.lamps[5] = 'H';
    m_actions.leave(client);
    EXPECT_EQ(m_console.lamps[5], 'H') << "no longer theirs";
}

TEST_F(ControlActions, Lamps_OfAnother_StayWhenAClientLeaves) {
    m_actions.perform(client, lamp(5, 'F'));
    m_actions.leave(client + 1);
    EXPECT_EQ(m_console.lamps[5], 'F');
}

TEST_F(ControlActions, JogLamp_GivenBack_ShowsTheWheel) {
    m_actions.perform(client, lamp(4, 'B'));
    m_console.wheel = true;
    m_actions.leave(client);
    EXPECT_EQ(m_console.lamps[4], 'F');
}

TEST_F(ControlActions, Speed_WhileLent_IsTheClientsAlone) {
    EXPECT_EQ(m_actions.perform(client, speed(-30000)), "");
    m_deck.key(playKey);
    EXPECT_THAT(shown(), ElementsAre(-30000));
    m_actions.leave(client);
    EXPECT_THAT(shown(), ElementsAre(1024)) << "the deck's";
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(ControlActions, StopLamp_GivenBack_ShowsTheSpeedAgain) {
    m_actions.perform(client, lamp(2, 'O'));
    EXPECT_THAT(shown(), IsEmpty());
    m_actions.leave(client);
    EXPECT_THAT(shown(), ElementsAre(0));
}

TEST_F(ControlActions, KeptSpeed_GivenBack_StaysUntilTheDeckChanges) {
    m_actions.perform(client, speed(30000, true));
    m_actions.leave(client);
    EXPECT_THAT(shown(), ElementsAre(30000));
    m_deck.key(playKey);
    EXPECT_THAT(shown(), ElementsAre(1024));
}

TEST_F(ControlActions, OtherLamp_GivenBack_LeavesTheSpeedAlone) {
    m_actions.perform(client, lamp(5, 'F'));
    m_actions.leave(client);
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(ControlActions, OtherLamp_GivenBackAfterTheDeckHasChanged_ShowsTheDecksSpeed) {
    m_actions.perform(client, lamp(5, 'F'));
    m_deck.key(playKey);
    EXPECT_THAT(shown(), IsEmpty());
    m_actions.leave(client);
    EXPECT_THAT(shown(), ElementsAre(1024));
    m_actions.perform(client, lamp(5, 'F', true));
    m_deck.key(stopKey);
    m_actions.leave(client);
    EXPECT_THAT(shown(), ElementsAre(0)) << "the lamp that is kept is another one";
}

TEST_F(ControlActions, Wheel_Switched_StaysSo) {
    EXPECT_EQ(m_actions.perform(client, {.kind = Command::Kind::wheel, .on = true}), "");
    m_actions.leave(client);
    EXPECT_TRUE(m_console.wheel);
    m_actions.perform(client, {.kind = Command::Kind::wheel, .on = false});
    EXPECT_FALSE(m_console.wheel);
}

TEST_F(ControlActions, Console_NotActive_IsRefused) {
    m_console.isActive = false;
    EXPECT_THAT(m_actions.perform(client, lamp(5, 'F')), HasSubstr("no console is active"));
    EXPECT_EQ(m_console.lamps[5], '\0');
    m_deck.key(playKey);
    EXPECT_THAT(shown(), ElementsAre(1024)) << "the lamps have not been lent";
}

TEST_F(ControlActions, RealConsole_KeyPressed_IsRefused) {
    EXPECT_THAT(m_actions.perform(client, {.kind = Command::Kind::press, .key = 'E'}), HasSubstr("a real one"));
}

}  // namespace
