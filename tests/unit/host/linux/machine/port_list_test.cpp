// The port list as a program sets it.
#include <gtest/gtest.h>

#include "host/api/OS.h"
#include "host/linux/machine/PortList.h"

TEST(ShowOnlyPorts, List_HoldsThemInOrderAndNoOthers) {
    cvhost::showOnlyPorts({{"rfc2217://127.0.0.1:1", "Corvane Console"}, {"/dev/ttyS9", ""}});
    SerialPortList ports;
    OS().serialPorts().list(ports);
    ASSERT_EQ(ports.size(), 2U);
    EXPECT_TRUE(ports.begin()->first.view() == L"/dev/ttyS9");
    EXPECT_TRUE(ports.begin()->second.isNull());
    EXPECT_TRUE(ports.rbegin()->first.view() == L"rfc2217://127.0.0.1:1");
    EXPECT_TRUE(ports.rbegin()->second.view() == L"Corvane Console");

    cvhost::showOnlyPorts({});
    ports.clear();
    OS().serialPorts().list(ports);
    EXPECT_TRUE(ports.empty());
}
