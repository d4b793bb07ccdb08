// Which serial port is the console's, and its opening and closing.
#include <gtest/gtest.h>

#include <functional>

#include "host/api/Comms.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Rig.h"

using namespace support;

namespace {

/// Done when the driver closes a port, before that is carried out.
std::function<void()> s_whenClosing;

struct Listed {
    std::string name;
    std::optional<std::string> description;
};

class PortTest : public testing::Test {
protected:
    PortTest() { rig.port.listed = false; }

    void list(const std::vector<Listed>& ports) {
        for (const Listed& port : ports) rig.world.addPort(port.name, port.description);
    }
    std::string opened() const {
        const Texts calls = rig.calls("comms_port_open(\"");
        if (calls.size() != 1) return std::to_string(calls.size()) + " openings";
        const std::string& call = calls.front();
        const std::size_t start = call.find('"') + 1;
        return call.substr(start, call.find('"', start) - start);
    }
    bool held() { return static_cast<bool>(ConsoleTestAccess::port(console)); }

    Rig rig{Rig::Scripted{}};
    Cv::Console& console = rig.console();
};

struct ListRow {
    const char* name;
    std::vector<Listed> ports;
    std::string opened;
};

class PortListTest : public PortTest, public testing::WithParamInterface<ListRow> {};

TEST_P(PortListTest, OpenPort_List_OpensThisPort) {
    list(GetParam().ports);
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(opened(), GetParam().opened);
}

// Without a match the setting's default is opened: /dev/ttyUSB0, which is there but not listed.
INSTANTIATE_TEST_SUITE_P(
    Rows, PortListTest,
    testing::Values(
        ListRow{.name = "EmptyList", .ports = {}, .opened = "/dev/ttyUSB0"},
        ListRow{.name = "NamesAreNotSearched",
                .ports = {{"/dev/Corvane", std::nullopt}, {"/dev/USB Serial Port", ""}},
                .opened = "/dev/ttyUSB0"},
        ListRow{.name = "NameFitsAndDescriptionDoesNot",
                .ports = {{"/dev/Corvane", "Modem"}, {"/dev/ttyS1", "Corvane"}},
                .opened = "/dev/ttyS1"},
        ListRow{.name = "CorvaneOnly", .ports = {{"/dev/ttyS0", "Corvane Console"}}, .opened = "/dev/ttyS0"},
        ListRow{.name = "CorvaneWithinTheText", .ports = {{"/dev/ttyS0", "The Corvane desk"}}, .opened = "/dev/ttyS0"},
        ListRow{.name = "UsbSerialOnly", .ports = {{"/dev/ttyUSB3", "USB Serial Port"}}, .opened = "/dev/ttyUSB3"},
        ListRow{.name = "UsbSerialWithinTheText",
                .ports = {{"/dev/ttyUSB3", "A USB Serial Port, rev 2"}},
                .opened = "/dev/ttyUSB3"},
        ListRow{.name = "TwoCorvane",
                .ports = {{"/dev/ttyS4", "Corvane Console"}, {"/dev/ttyS1", "Corvane Console"}},
                .opened = "/dev/ttyS1"},
        ListRow{.name = "TwoUsbSerial",
                .ports = {{"/dev/ttyUSB9", "USB Serial Port"}, {"/dev/ttyUSB2", "USB Serial Port"}},
                .opened = "/dev/ttyUSB2"},
        ListRow{.name = "NamesByCharacters",
                .ports = {{"/dev/ttyS2", "Corvane"}, {"/dev/ttyS10", "Corvane"}},
                .opened = "/dev/ttyS10"},
        ListRow{.name = "UsbSerialSortsFirst",
                .ports = {{"/dev/a", "USB Serial Port"}, {"/dev/b", "Corvane"}},
                .opened = "/dev/a"},
        ListRow{.name = "BothInOneText",
                .ports = {{"/dev/b", "Corvane USB Serial Port"}, {"/dev/a", "Corvane"}},
                .opened = "/dev/b"},
        ListRow{.name = "LowerCase",
                .ports = {{"/dev/ttyUSB3", "usb serial port"}, {"/dev/ttyS0", "corvane"}},
                .opened = "/dev/ttyUSB0"},
        ListRow{.name = "NearlyTheTexts",
                .ports = {{"/dev/ttyUSB3", "USB Serial"}, {"/dev/ttyS0", "Corvan"}},
                .opened = "/dev/ttyUSB0"},
        ListRow{.name = "NoDescription",
                .ports = {{"/dev/ttyS0", std::nullopt}, {"/dev/ttyS1", "Corvane"}},
                .opened = "/dev/ttyS1"},
        ListRow{.name = "EmptyDescription", .ports = {{"/dev/ttyS0", ""}}, .opened = "/dev/ttyUSB0"}),
    [](const auto& row) { return row.param.name; });

TEST_F(PortTest, OpenPort_CorvaneAndUsbSerial_UsbSerialWins) {
    list({{"/dev/ttyS0", "Corvane Console"}, {"/dev/ttyUSB3", "USB Serial Port"}});
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(opened(), "/dev/ttyUSB3");
}

TEST_F(PortTest, OpenPort_NoMatch_OpensTheSettingsPort) {
    list({{"/dev/ttyS0", "a modem"}, {"/dev/console", std::nullopt}});
    rig.set("console_port", std::string("/dev/console"));
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(opened(), "/dev/console");
}

TEST_F(PortTest, OpenPort_EmptyList_OpensTheSettingsPort) {
    rig.world.addPort("/dev/console", std::nullopt).listed = false;
    rig.set("console_port", std::string("/dev/console"));
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(opened(), "/dev/console");
}

TEST_F(PortTest, OpenPort_Match_DoesNotReadTheSetting) {
    list({{"/dev/ttyS0", "Corvane"}});
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(rig.calls("config_string"), Texts{});
}

TEST_F(PortTest, OpenPort_SettingOfAnyCharacters_OpensAndLogsIt) {
    rig.world.addPort("/dev/tty\xC3\x9C\xFF", std::nullopt);
    rig.set("console_port", std::string("/dev/tty\xC3\x9C\xFF"));
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(opened(), "/dev/tty\xC3\x9C\xFF");
    EXPECT_EQ(rig.log(), Texts{"Looking for console on port /dev/tty\xC3\x9C\xFF\n"});
}

TEST_F(PortTest, OpenPort_EmptySetting_OpensAndLogsNothing) {
    rig.debug(true);
    rig.set("console_port", std::string());
    EXPECT_FALSE(console.open_port());
    EXPECT_EQ(rig.calls("comms"), Texts{});
    EXPECT_EQ(rig.log(), Texts{});
    EXPECT_FALSE(held());
}

TEST_F(PortTest, OpenPort_EmptySettingWithAPortHeld_KeepsItAndReturnsTrue) {
    EXPECT_TRUE(console.open_port());
    rig.set("console_port", std::string());
    rig.forget();
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(rig.calls("comms"), Texts{});
    EXPECT_TRUE(held());
}

TEST_F(PortTest, OpenPort_Usable_ExactCallsAndOneLogLine) {
    rig.debug(true);
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(rig.calls(""), (Texts{"createThreadEvent(0, 0, 0)", "list()", "config_string(console_port)",
                                    "comms_port_open(\"/dev/ttyUSB0\", 9600, 8, 'N', 1)", "comms_geterr()",
                                    "commsRegisterHandler(\"/dev/ttyUSB0\", 1, true)"}));
    EXPECT_EQ(rig.log(), Texts{"Looking for console on port /dev/ttyUSB0\n"});
}

TEST_F(PortTest, OpenPort_Usable_CallbackReachesThisConsole) {
    EXPECT_TRUE(console.open_port());
    rig.receives("V007 ");
    EXPECT_TRUE(console.active());
}

TEST_F(PortTest, OpenPort_NoSuchPort_FalseAndSilentWithoutDebug) {
    rig.port.failingOpens = 1;
    EXPECT_FALSE(console.open_port());
    EXPECT_FALSE(held());
    EXPECT_EQ(rig.log(), Texts{"Looking for console on port /dev/ttyUSB0\n"});
    EXPECT_EQ(rig.calls("comms_geterr"), Texts{});
    EXPECT_EQ(rig.calls("commsRegisterHandler"), Texts{});
}

TEST_F(PortTest, OpenPort_NoSuchPortInDebug_SaysSo) {
    rig.debug(true);
    rig.port.failingOpens = 1;
    EXPECT_FALSE(console.open_port());
    EXPECT_EQ(rig.log(),
              (Texts{"Looking for console on port /dev/ttyUSB0\n", "CON:   failed to open console driver \\.CVCon\n"}));
}

TEST_F(PortTest, OpenPort_OpenedWithError_HeldWithoutCallback) {
    rig.port.openError = 5;
    EXPECT_TRUE(console.open_port());
    EXPECT_TRUE(held());
    EXPECT_EQ(rig.calls("commsRegisterHandler"), Texts{});
    EXPECT_EQ(rig.world.serial().handlerCount(), 0u);
    EXPECT_EQ(rig.log(), Texts{"Looking for console on port /dev/ttyUSB0\n"});
}

TEST_F(PortTest, OpenPort_OpenedWithErrorInDebug_SaysSo) {
    rig.debug(true);
    rig.port.openError = -1;
    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(rig.log().back(), "CON:   failed to open console driver \\.CVCon\n");
}

TEST_F(PortTest, ClosePort_OpenedWithError_ClosesItToo) {
    rig.port.openError = 5;
    console.open_port();
    rig.forget();
    console.close_port();
    EXPECT_EQ(rig.calls(), (Texts{"commsDeregisterHandler()", "comms_port_close()"}));
    EXPECT_FALSE(held());
}

TEST_F(PortTest, OpenPort_PortHeldAndNewOneFails_DropsTheOldHandle) {
    EXPECT_TRUE(console.open_port());
    rig.port.failingOpens = 1;
    EXPECT_FALSE(console.open_port());
    EXPECT_FALSE(held());
}

TEST_F(PortTest, ClosePort_AnotherPortCouldNotBeOpened_LeavesTheFirstToTheHost) {
    sim::Line& other = rig.world.addPort("/dev/ttyS1", "Corvane");
    EXPECT_TRUE(console.open_port());
    other.listed = false;
    rig.port.failingOpens = 1;
    EXPECT_FALSE(console.open_port());
    rig.forget();
    console.close_port();
    EXPECT_EQ(rig.calls(), Texts{});
    EXPECT_EQ(rig.world.serial().handlerCount(), 1u);
    EXPECT_EQ(rig.world.serial().openPorts(), 1u);

    other.inject("V007 ");
    rig.run_for(100ms);
    EXPECT_FALSE(console.active());

    EXPECT_TRUE(console.open_port());
    EXPECT_EQ(rig.world.serial().handlerCount(), 1u);
    EXPECT_EQ(rig.world.serial().openPorts(), 1u);
    rig.receives("V007 ");
    EXPECT_TRUE(console.active());
}

TEST_F(PortTest, OpenPort_Again_HoldsANewPortWithOneCallback) {
    EXPECT_TRUE(console.open_port());
    const CommsPort* first = ConsoleTestAccess::port(console).get();
    EXPECT_TRUE(console.open_port());
    EXPECT_NE(ConsoleTestAccess::port(console).get(), first);
    EXPECT_EQ(rig.world.serial().handlerCount(), 1u);
    rig.receives("V007 ");
    EXPECT_TRUE(console.active());
}

TEST_F(PortTest, ClosePort_NoPort_CallsNothing) {
    rig.forget();
    console.close_port();
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST_F(PortTest, ClosePort_Open_CallbackGoesBeforeThePort) {
    console.open_port();
    rig.forget();
    console.close_port();
    EXPECT_EQ(rig.calls(), (Texts{"commsDeregisterHandler()", "comms_port_close()"}));
    EXPECT_FALSE(held());
    EXPECT_EQ(rig.world.serial().handlerCount(), 0u);
    rig.forget();
    console.close_port();
    EXPECT_EQ(rig.calls(), Texts{});
}

TEST_F(PortTest, Purge_UnreadBytes_NextReadFindsNothing) {
    console.open_port();
    ConsoleTestAccess::monitorMode(console) = true;
    rig.receives("unread");
    const Cv::Ptr<CommsPort> port = ConsoleTestAccess::port(console);
    unsigned char byte = 0;
    EXPECT_EQ(comms_peekc(port, &byte), 0);
    rig.forget();
    const Time before = rig.now();
    EXPECT_TRUE(Purge(port));
    EXPECT_EQ(rig.calls(), Texts{"clearReceiveQueue()"});
    EXPECT_EQ(rig.now(), before);
    EXPECT_EQ(comms_getc(port, &byte), -1);
    rig.receives("x");
    EXPECT_EQ(comms_getc(port, &byte), 0);
    EXPECT_EQ(byte, 'x');
}

TEST_F(PortTest, Purge_NoPort_True) { EXPECT_TRUE(Purge({})); }

TEST_F(PortTest, ClosePort_Open_HandleGoesAfterThePort) {
    console.open_port();
    std::vector<bool> heldAtClose;
    s_whenClosing = [&] { heldAtClose.push_back(held()); };
    console.close_port();
    s_whenClosing = nullptr;
    EXPECT_EQ(heldAtClose, std::vector{true});
    EXPECT_FALSE(held());
}

class HandleTest : public testing::TestWithParam<std::uint64_t> {};

TEST_P(HandleTest, ClosePort_WhileOtherThreadsUseThePort_TheyUseItOrFindNone) {
    Rig rig(Rig::Scripted{}, sim::Schedule{.seed = GetParam(), .shuffled = true, .stalls = 50'000, .stallAtMost = 1ms});
    rig.activate();
    rig.peer_sends("E EU F FU \\7F000000 ");
    const auto editor = rig.on_thread("editor", [&] {
        for (int lamp = 1; lamp <= 46; ++lamp) rig.console().lamp_set(lamp, 'F');
    });
    const auto other = rig.on_thread("other", [&] {
        for (int turn = 0; turn < 5; ++turn) {
            rig.console().enable_wheel();
            rig.console().disable_wheel();
        }
    });
    rig.world.scheduler().sleep(std::chrono::microseconds(GetParam() * 97 % 9000));
    rig.console().exit();
    rig.console().open_port();  // the library lets the closed port go
    rig.world.scheduler().join(editor);
    rig.world.scheduler().join(other);
    EXPECT_TRUE(ConsoleTestAccess::port(rig.console()));
    EXPECT_EQ(rig.world.serial().handlerCount(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, HandleTest, testing::Range(std::uint64_t{1}, std::uint64_t{101}));

}  // namespace

// The linker's names for the host's function and for what stands in front of it.
void realClose(Cv::Ptr<CommsPort> port) __asm__("__real__Z16comms_port_closeN2Cv3PtrI9CommsPortEE");
void wrappedClose(Cv::Ptr<CommsPort> port) __asm__("__wrap__Z16comms_port_closeN2Cv3PtrI9CommsPortEE");

void wrappedClose(Cv::Ptr<CommsPort> port) {
    if (s_whenClosing) s_whenClosing();
    realClose(port);
}
