// Which of several USB serial adapters is taken for the console's, and who may use it.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/kernel/Guest.h"
#include "tests/kernel/KernelTest.h"

namespace kernel_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

using PortChoice = KernelTest;

TEST_F(PortChoice, Run_CorvaneAndUsbSerialPort_UsbSerialPortWins) {
    Adapter first({}, corvane);
    Adapter second({}, usbSerialPort);
    ASSERT_EQ(first.port(), "/dev/ttyUSB0");
    ASSERT_EQ(second.port(), "/dev/ttyUSB1");
    Process host(this->host());
    waitFor(host, {{"event", "active"}});
    EXPECT_THAT(events(host, {{"event", "port"}, {"name", second.port()}, {"state", "open"}}), testing::SizeIs(1));
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(first.settings(), IsEmpty());
}

TEST_F(PortChoice, Run_CorvaneBehindAnother_IsFound) {
    Adapter other({.silent = true}, foreign);
    Adapter console({}, corvane);
    ASSERT_EQ(console.port(), "/dev/ttyUSB1");
    Process host(this->host());
    waitFor(host, {{"event", "active"}});
    waitUntilOpen(host, console.port());
    EXPECT_EQ(end(host), 0) << host.errors();
}

TEST_F(PortChoice, Run_Neither_TakesTheFirstUsbPort) {
    Adapter first({}, foreign);
    Adapter second({.silent = true}, foreign);
    Process host(this->host());
    waitFor(host, {{"event", "active"}});
    waitUntilOpen(host, "/dev/ttyUSB0");
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(second.settings(), IsEmpty());
}

TEST_F(PortChoice, Run_NeitherAndASetting_TakesTheSettings) {
    Adapter first({.silent = true}, foreign);
    Adapter second({}, foreign);
    Process host(this->host({"--set", "console_port=/dev/ttyUSB1"}));
    waitFor(host, {{"event", "active"}});
    waitUntilOpen(host, "/dev/ttyUSB1");
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(first.settings(), IsEmpty());
}

TEST_F(PortChoice, Run_AdapterWithoutConsole_IsNeverOpened) {
    Adapter other({.silent = true}, foreign);
    Adapter console;
    Process host(this->host());
    waitUntilStarted(host);
    console.operate([](desk::Desk& desk, desk::Time now) { desk.tap('E', now); });
    waitFor(host, {{"event", "handler"}, {"code", 5}});
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(other.settings(), IsEmpty());
}

TEST_F(PortChoice, Run_OnlyAnAdapterWithoutConsole_SaysThatNoneAnswers) {
    Adapter other({.silent = true}, foreign);
    Process host(this->host({"--for", "30"}));
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), HasSubstr("/dev/ttyUSB0 is open, but after a reset through RTS"));
    EXPECT_FALSE(other.settings().empty());
}

/// An ordinary user, with the access rights to serial ports that Debian's udev gives.
class Permission : public KernelTest {
protected:
    static constexpr gid_t dialout = 20;

    Permission() { std::filesystem::permissions(m_folder.path(), std::filesystem::perms::all); }

    static void giveToDialout(const std::string& port) {
        ASSERT_EQ(::chown(port.c_str(), 0, dialout), 0);
        ASSERT_EQ(::chmod(port.c_str(), 0660), 0);
    }
    static Process::Setup asUser(const std::string& groups, Process::Setup setup) {
        const Arguments become{"/usr/bin/setpriv", "--reuid=1000", "--regid=1000", groups};
        setup.command.insert(setup.command.begin(), become.begin(), become.end());
        return setup;
    }
};

TEST_F(Permission, Run_UserOutsideTheGroup_IsRefusedAndToldWhichGroup) {
    Adapter adapter;
    giveToDialout(adapter.port());
    Process host(asUser("--clear-groups", this->host({"--for", "5"})));
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.errors(), AllOf(HasSubstr("/dev/ttyUSB0 may not be used by this user"), HasSubstr("-aG dialout")));
    EXPECT_THAT(adapter.settings(), IsEmpty());
}

TEST_F(Permission, Run_UserInTheGroup_BringsTheConsoleUp) {
    Adapter adapter;
    giveToDialout(adapter.port());
    Process host(asUser("--groups=20", this->host()));
    waitUntilStarted(host);
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_EQ(adapter.settings().back().latencyMs, 1);
}

TEST_F(Permission, CvdeskUsb_OrdinaryUser_IsRefused) {
    Process desk(asUser("--clear-groups", cvdesk({"--usb"})));
    EXPECT_EQ(desk.wait(), 3);
    EXPECT_THAT(desk.errors(), HasSubstr("root alone"));
}

/// A kernel module that is missing during a test.
class Without {
public:
    explicit Without(std::string module) : m_module(std::move(module)) { unloadModule(m_module); }
    ~Without() { loadModule(m_module); }
    Without(const Without&) = delete;
    Without& operator=(const Without&) = delete;

private:
    std::string m_module;
};

using Modules = KernelTest;

TEST_F(Modules, CvdeskUsb_NoController_SaysWhichModuleIsMissing) {
    const Without without("vhci-hcd");
    Process desk(cvdesk({"--usb"}));
    EXPECT_EQ(desk.wait(), 3);
    EXPECT_THAT(desk.errors(), HasSubstr("modprobe vhci-hcd"));
}

TEST_F(Modules, CvdeskUsb_NoSerialDriver_SaysWhichModuleIsMissing) {
    const Without without("ftdi_sio");
    Process desk(cvdesk({"--usb"}));
    EXPECT_EQ(desk.wait(), 3);
    EXPECT_THAT(desk.errors(), HasSubstr("modprobe ftdi_sio"));
}

TEST_F(Modules, CvdeskUsb_Product_IsTheDevices) {
    Process desk(cvdesk({"--usb", "--usb-product", corvane}));
    EXPECT_EQ(whereIs(desk), "/dev/ttyUSB0");
    EXPECT_EQ(readLine("/sys/class/tty/ttyUSB0/device/../../product"), corvane);
    desk.signal(SIGTERM);
    EXPECT_EQ(desk.wait(), 0);
}

}  // namespace
}  // namespace kernel_test
