// What a console shows again after it has come back.
#include "apps/cvhost/run/RestoringConsole.h"

#include <gtest/gtest.h>

#include "tests/support/ValueConsole.h"

namespace {

using cvhost::run::RestoringConsole;

constexpr int jogLamp = 4;

class Restore : public testing::Test {
protected:
    /// The console comes back with all its lamps and its wheel off.
    void comeBack() {
        m_driver.lamps = {};
        m_driver.wheel = false;
        m_console.restore();
    }

    ValueConsole m_driver;
    RestoringConsole m_console{m_driver, [](std::string_view, std::initializer_list<int>) {}};
};

TEST_F(Restore, LampsAndWheel_AreAsTheyWereLastSet) {
    m_console.lamp_set(5, 'F');
    m_console.lamp_set(6, 'F');
    m_console.lamp_set(6, 'O');
    m_console.enable_wheel();
    comeBack();
    EXPECT_EQ(m_driver.lamps.at(5), 'F');
    EXPECT_EQ(m_driver.lamps.at(6), 'O');
    EXPECT_TRUE(m_driver.wheel);
}

TEST_F(Restore, WheelSwitchedOff_ItsLampStaysDark) {
    m_console.lamp_set(jogLamp, 'F');
    m_console.enable_wheel();
    m_console.disable_wheel();
    comeBack();
    EXPECT_FALSE(m_driver.wheel);
    EXPECT_EQ(m_driver.lamps.at(jogLamp), '\0');
    m_console.lamp_set(jogLamp, 'F');
    m_console.suspend_wheel();
    comeBack();
    EXPECT_EQ(m_driver.lamps.at(jogLamp), '\0');
}

TEST_F(Restore, AnotherWishMeanwhile_IsNotUndone) {
    // The wish for lamp 5 is carried out first, and lamp 6 is darkened before its turn comes.
    ValueConsole driver;
    RestoringConsole* console = nullptr;
    bool comesBack = false;
    RestoringConsole made(driver, [&](std::string_view, std::initializer_list<int> arguments) {
        if (comesBack && *arguments.begin() == 5) {
            comesBack = false;
            console->lamp_set(6, 'O');
        }
    });
    console = &made;
    made.lamp_set(5, 'F');
    made.lamp_set(6, 'F');
    comesBack = true;
    made.restore();
    EXPECT_EQ(driver.lamps.at(6), 'O');
}

}  // namespace
