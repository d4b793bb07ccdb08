// Ports by the names of their adapters: which device they are, and that they are followed to another one. Rights that come
// later.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

#include "tests/apps/MachineRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;

constexpr const char* firstAdapter = "sys/devices/pci0000:00/0000:00:14.0/usb1/1-2";
constexpr const char* secondAdapter = "sys/devices/pci0000:00/0000:00:14.0/usb1/1-3";

bool isActive(const std::string& line) { return line.find("console version 7") != line.npos; }

class FollowedPort : public MachineTest {
protected:
    /// `cvhost run` in a machine with the adapters C0RV4NE1 (ttyUSB1) and C0RV4NE2 (ttyUSB2); none leads anywhere yet.
    void start(Arguments arguments) {
        arguments.insert(arguments.begin(), {"run", "--events", m_events});
        Process::Setup setup = command(arguments);
        const std::string tell = "rm $UMOCKDEV_DIR/dev/tty*; echo $UMOCKDEV_DIR >" + placeFile() + ".new; mv " +
                                 placeFile() + ".new " + placeFile() + "; while [ -e " + placeFile() +
                                 " ]; do sleep 0.01; done; exec \"$@\"";
        setup.command.insert(setup.command.begin(),
                             {"/usr/bin/umockdev-run", "-d", TWO_DESKS, "--", "/bin/sh", "-c", tell, "sh"});
        setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
        m_host = std::make_unique<Process>(setup);
        while (!std::filesystem::exists(placeFile())) ::usleep(1000);
        std::getline(std::ifstream(placeFile()), m_machine);
    }
    /// The machine is as it should be, so cvhost may begin.
    void go() const { std::filesystem::remove(placeFile()); }
    void write(const std::string& attribute, const std::string& text) const {
        std::ofstream(m_machine + '/' + attribute) << text << '\n';
    }
    /// Connects a device with a new desk.
    void plugIn(const std::string& node) {
        m_desk = std::make_unique<Process>(ptyDesk());
        whereIs(*m_desk);
        std::filesystem::create_symlink(device(), m_machine + "/dev/" + node);
    }
    void unplug(const std::string& node) {
        std::filesystem::remove(m_machine + "/dev/" + node);
        m_desk->signal(SIGTERM);
        m_desk->wait();
        m_desk.reset();
    }
    int end() const {
        m_host->signal(SIGTERM);
        return m_host->wait();
    }
    std::string placeFile() const { return m_folder.path() / "machine"; }

    std::string m_events = "json";
    std::string m_machine;
    std::unique_ptr<Process> m_desk;
    std::unique_ptr<Process> m_host;
};

TEST_F(FollowedPort, Name_EachOfAnAdapter_OpensItsDevice) {
    for (const std::string name :
         {"C0RV4NE2", "usb-Corvane_Console_C0RV4NE2-if00-port0", "pci-0000:00:14.0-usb-0:3:1.0-port0"}) {
        start({"--port", name});
        plugIn("ttyUSB2");
        go();
        waitFor(*m_host, {{"event", "active"}});
        EXPECT_EQ(end(), 0);
        EXPECT_THAT(m_host->errors(), HasSubstr(name + " is /dev/ttyUSB2\n"));
        unplug("ttyUSB2");
    }
}

TEST_F(FollowedPort, SerialNumber_BackAsAnotherDevice_IsFoundThere) {
    start({"--port", "C0RV4NE1"});
    plugIn("ttyUSB1");
    go();
    waitForAll(*m_host, {{{"event", "active"}}});
    write(std::string(firstAdapter) + "/serial", "another");
    unplug("ttyUSB1");
    waitForAll(*m_host, {{{"event", "active"}}, {{"event", "port"}, {"state", "lost"}}});
    write(std::string(secondAdapter) + "/serial", "C0RV4NE1");
    plugIn("ttyUSB2");
    waitForAll(*m_host, {{{"event", "active"}}, {{"event", "port"}, {"state", "lost"}}, {{"event", "active"}}});
    EXPECT_EQ(end(), 0);
    EXPECT_THAT(m_host->errors(), HasSubstr("C0RV4NE1 is /dev/ttyUSB2\n"));
}

TEST_F(FollowedPort, Setting_OtherPortsWithoutDescription_IsFollowed) {
    writeSettings("[settings]\nconsole_port = \"C0RV4NE1\"\n");
    start({});
    for (const char* adapter : {"usb1/1-1", "usb1/1-2", "usb1/1-3"})
        write("sys/devices/pci0000:00/0000:00:14.0/" + std::string(adapter) + "/product", "FT232R USB UART");
    plugIn("ttyUSB1");
    go();
    waitFor(*m_host, {{"event", "active"}});
    EXPECT_EQ(end(), 0);
    EXPECT_THAT(m_host->errors(), HasSubstr("C0RV4NE1 is /dev/ttyUSB1\n"));
}

TEST_F(FollowedPort, SerialNumber_AdapterAbsent_IsToldAndWaitedFor) {
    m_events = "text";
    start({"--port", "C0RV4NE9"});
    go();
    m_host->waitForLine([](const std::string& line) { return line.find("there is no adapter C0RV4NE9;") != line.npos; });
    write(std::string(secondAdapter) + "/serial", "C0RV4NE9");
    plugIn("ttyUSB2");
    m_host->waitForLine(isActive);
    EXPECT_EQ(end(), 0);
}

class LateRights : public MachineTest {
protected:
    /// Root may open anything, except without this capability.
    static Process::Setup withoutPrivilege(Process::Setup setup) {
        if (::geteuid() != 0) return setup;
        setup.command.insert(setup.command.begin(),
                             {"/usr/bin/setpriv", "--bounding-set", "-dac_override,-dac_read_search", "--"});
        return setup;
    }
};

TEST_F(LateRights, Port_GrantedWhileWaiting_ConsoleIsFound) {
    Process desk(ptyDesk());
    whereIs(desk);
    ASSERT_EQ(::chmod(device().c_str(), 0), 0);
    Process host(withoutPrivilege(cvhost({"--port", deskLink()})));
    host.waitForLine([](const std::string& line) { return line.find("may not be used by this user") != line.npos; });
    ASSERT_EQ(::chmod(device().c_str(), S_IRUSR | S_IWUSR), 0);
    host.waitForLine(isActive);
    host.signal(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
}

}  // namespace
}  // namespace apps_test
