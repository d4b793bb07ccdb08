// Every press that was queued has its release.
#include "apps/cvhost/run/HeldKeys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/ValueConsole.h"

namespace {

using cvhost::ByteHandled;
using cvhost::KeyQueued;
using cvhost::PortChange;
using cvhost::PortState;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class HeldKeys : public testing::Test {
protected:
    /// The packet of a press, as the driver takes it: its key is marked, then queued under `queued`.
    void press(char key, int queued) {
        m_keys(ByteHandled{static_cast<unsigned char>(key)});
        m_console.down.insert(key - '@');
        m_keys(KeyQueued{.code = queued, .handled = false, .flags = 1536});
        m_keys(ByteHandled{' '});
    }
    void release(char key) {
        handle({&key, 1});
        handle("U");
        m_console.down.erase(key - '@');
        handle(" ");
    }
    void handle(std::string_view bytes) {
        for (const char byte : bytes) m_keys(ByteHandled{static_cast<unsigned char>(byte)});
    }
    void lose(PortState state) { m_keys(PortChange{"/dev/ttyUSB0", state}); }

    ValueConsole m_console;
    std::vector<std::pair<int, bool>> m_released;  ///< code, lost
    cvhost::run::HeldKeys m_keys{m_console,
                                 [this](const cvhost::KeyReleased& key) { m_released.emplace_back(key.code, key.lost); }};
};

TEST_F(HeldKeys, Key_HeldAndReleased_IsReleasedOnce) {
    press('E', 5);
    EXPECT_THAT(m_released, IsEmpty());
    release('E');
    release('E');
    EXPECT_THAT(m_released, ElementsAre(Pair(5, false)));
}

TEST_F(HeldKeys, Key_PressedAgainWhileHeld_IsReleasedBetween) {
    press('E', 5);
    m_keys.beforePress(6);
    EXPECT_THAT(m_released, IsEmpty());
    m_keys.beforePress(5);
    EXPECT_THAT(m_released, ElementsAre(Pair(5, false)));
    press('E', 5);
    release('E');
    EXPECT_THAT(m_released, ElementsAre(Pair(5, false), Pair(5, false)));
}

TEST_F(HeldKeys, TwoKeys_Held_AreReleasedEachByItself) {
    press('E', 5);
    press('F', 6);
    release('E');
    EXPECT_THAT(m_released, ElementsAre(Pair(5, false)));
    release('F');
    EXPECT_THAT(m_released, ElementsAre(Pair(5, false), Pair(6, false)));
}

TEST_F(HeldKeys, TrimmingKeys_Released_HaveTheirQueuedCodes) {
    press('g', 31);
    press('h', 39);
    press('_', 40);
    EXPECT_THAT(m_released, IsEmpty());
    release('h');
    release('_');
    release('g');
    EXPECT_THAT(m_released, ElementsAre(Pair(39, false), Pair(40, false), Pair(31, false)));
}

TEST_F(HeldKeys, JogKey_HeldByHand_StaysHeld) {
    press('\\', 28);
    handle("s7F000000 ");
    EXPECT_THAT(m_released, IsEmpty());
    release('\\');
    EXPECT_THAT(m_released, ElementsAre(Pair(28, false)));
}

TEST_F(HeldKeys, JogKey_QueuedByATurnOfTheWheel_IsATap) {
    handle("s7F090000");
    m_console.down.insert(28);
    m_keys(KeyQueued{.code = 28, .handled = true, .flags = 1536});
    EXPECT_THAT(m_released, IsEmpty());
    handle(" ");
    EXPECT_THAT(m_released, ElementsAre(Pair(28, false)));
    handle("s7F090000 ");
    EXPECT_THAT(m_released, ElementsAre(Pair(28, false))) << "its mark stays";
}

TEST_F(HeldKeys, JogKey_HeldByHandAfterSuchATap_IsReleasedByHand) {
    handle("s7F090000");
    m_console.down.insert(28);
    m_keys(KeyQueued{.code = 28, .handled = true, .flags = 1536});
    handle(" ");
    m_released.clear();
    press('\\', 28);
    EXPECT_THAT(m_released, IsEmpty());
    release('\\');
    EXPECT_THAT(m_released, ElementsAre(Pair(28, false)));
}

TEST_F(HeldKeys, Stop_ForcedByTheHost_IsATap) {
    m_keys(KeyQueued{.code = 12, .handled = false, .flags = 1536});
    EXPECT_THAT(m_released, ElementsAre(Pair(12, false)));
}

TEST_F(HeldKeys, Port_LostOrClosed_ReleasesWhatIsHeld) {
    press('E', 5);
    lose(PortState::lost);
    EXPECT_THAT(m_released, ElementsAre(Pair(5, true)));
    release('E');
    press('F', 6);
    lose(PortState::closed);
    EXPECT_THAT(m_released, ElementsAre(Pair(5, true), Pair(6, true)));
}

TEST_F(HeldKeys, Codes_ThatAreNoKeys_AreIgnored) {
    for (const int code : {-1, 48, 1000}) m_keys(KeyQueued{.code = code, .handled = false, .flags = 0});
    EXPECT_THAT(m_released, IsEmpty());
}

}  // namespace
