// The serial library against what others have written: pyserial's server, ser2net on a pty, the system's device database.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <termios.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/apps/OwnPort.h"
#include "tests/apps/Process.h"
#include "tests/unit/host/linux/serial/SerialRig.h"

namespace {

using namespace serialtest;
using apps_test::Process;

std::string everyByte() {
    std::string all;
    for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
    return all;
}

class PythonServer : public testing::Test {
protected:
    PythonServer() : server({.command = {"/usr/bin/python3", SERIAL_SERVER}}) {
        const std::string line = server.waitForLine([](const std::string& text) { return text.starts_with("listening "); });
        url = "rfc2217://127.0.0.1:" + line.substr(10);
        name = Cv::WStringFromAscii(url.c_str());
    }
    ~PythonServer() override {
        server.signal(SIGTERM);
        comms_port_close(port);
    }

    void waitForLine(const std::string& wanted) {
        server.waitForLine([&](const std::string& line) { return line == wanted; });
    }

    Recorder events;
    Process server;
    std::string url;
    LightweightString<wchar_t> name;
    Cv::Ptr<CommsPort> port;
};

TEST_F(PythonServer, Settings_AreApplied) {
    port = comms_port_open(name, 19200, 7, 'E', 2);
    ASSERT_TRUE(port);
    EXPECT_EQ(events.count("does not offer"), 0U) << "the server agrees";
    waitForLine("settings 19200 7 E 2");
}

TEST_F(PythonServer, RtsAndData_ReachThePortInOrder) {
    port = open(name);
    ASSERT_TRUE(port);
    ASSERT_EQ(send(port, "before"), 0);
    comms_set_rts(port, 0);
    comms_set_rts(port, 1);
    ASSERT_EQ(send(port, "after"), 0);
    waitForLine("data after");
    std::vector<std::string> lines = server.lines();
    std::erase_if(lines, [](const std::string& line) { return !line.starts_with("data") && !line.starts_with("rts"); });
    EXPECT_EQ(lines, (std::vector<std::string>{"data before", "rts 0", "rts 1", "data after"}));
}

TEST_F(PythonServer, EveryByte_ComesBackUnchanged) {
    port = open(name);
    ASSERT_TRUE(port);
    Taker taker(port);
    ASSERT_TRUE(taker.listen(name));
    ASSERT_EQ(send(port, everyByte()), 0);
    EXPECT_EQ(taker.wait(256), everyByte());
    EXPECT_EQ(taker.calls(), 256);
}

TEST_F(PythonServer, ThatEnds_IsLost) {
    port = open(name);
    ASSERT_TRUE(port);
    server.signal(SIGTERM);
    EXPECT_TRUE(events.waitFor("lost " + url)) << events.everything();
    EXPECT_NE(comms_geterr(port), 0);
}

/// ser2net in front of a pty. It acknowledges no modem line there, for a pty has none.
class Ser2net : public testing::Test {
protected:
    Ser2net() : name(Cv::WStringFromAscii(url.c_str())), server({.command = command()}) {}
    ~Ser2net() override {
        comms_port_close(port);
        std::filesystem::remove(settings);
    }

    /// Opens the port as soon as the server listens.
    bool openPort(int baud) {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (!(port = comms_port_open(name, baud, 8, 'N', 1)) && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return static_cast<bool>(port);
    }

    std::vector<std::string> command() {
        std::string path = (std::filesystem::temp_directory_path() / "serial_peers_XXXXXX").string();
        cvhost::FileDescriptor(::mkstemp(path.data()));
        settings = path;
        std::ofstream(settings) << "%YAML 1.1\n---\nconnection: &desk\n  accepter: telnet(rfc2217),tcp," << url.substr(10, 9)
                                << "," << url.substr(20) << "\n  connector: serialdev," << far.path << ",9600n81,local\n";
        return {"/usr/sbin/ser2net", "-n", "-u", "-c", settings};
    }

    Recorder events;
    Pty far;
    std::string url = "rfc2217://127.0.0.1:" + std::to_string(apps_test::ownPort());
    LightweightString<wchar_t> name;
    std::string settings;
    Process server;
    Cv::Ptr<CommsPort> port;
};

TEST_F(Ser2net, Settings_AreAppliedBehindIt) {
    ASSERT_TRUE(openPort(19200));
    EXPECT_EQ(events.count("does not offer"), 0U) << "the server agrees";
    ASSERT_EQ(send(port, "x"), 0);
    ASSERT_EQ(far.read(1), "x");  // behind the settings in the stream
    termios line{};
    ASSERT_EQ(tcgetattr(far.get(), &line), 0);
    EXPECT_EQ(cfgetospeed(&line), speed_t{B19200});
}

TEST_F(Ser2net, EveryByte_GoesBothWaysUnchanged) {
    ASSERT_TRUE(openPort(9600));
    Taker taker(port);
    ASSERT_TRUE(taker.listen(name));
    ASSERT_EQ(send(port, everyByte()), 0);
    EXPECT_EQ(far.read(256), everyByte());
    far.send(everyByte());
    EXPECT_EQ(taker.wait(256), everyByte());
    EXPECT_EQ(taker.calls(), 256);
}

TEST_F(Ser2net, Rts_IsNotWaitedFor) {
    ASSERT_TRUE(openPort(9600));
    ASSERT_EQ(send(port, "before"), 0);
    comms_set_rts(port, 0);
    comms_set_rts(port, 1);
    ASSERT_EQ(send(port, "after"), 0);
    EXPECT_EQ(far.read(11), "beforeafter");
    EXPECT_EQ(comms_geterr(port), 0);
}

TEST(PortList, MadeUpMachine_PortsWithHardwareAndTheirProductTexts) {
    Process ports({.command = {"/usr/bin/umockdev-run", "-d", SERIAL_MACHINE, "--", SERIAL_PORTS},
                   // A sanitizer wants to be loaded first; so does the library that makes the machine up.
                   .environment = {{"ASAN_OPTIONS", "verify_asan_link_order=0"}}});
    EXPECT_EQ(ports.wait(), 0) << ports.errors();
    EXPECT_EQ(ports.lines(), (std::vector<std::string>{"/dev/ttyACM0\tCorvane  Pültchen #2 %s", "/dev/ttyS0",
                                                       "/dev/ttyUSB0\tUSB Serial Port", "/dev/ttyUSB1"}));
}

TEST(PortList, EmptyMachine_HasNone) {
    Process ports({.command = {"/usr/bin/umockdev-run", "--", SERIAL_PORTS},
                   .environment = {{"ASAN_OPTIONS", "verify_asan_link_order=0"}}});
    EXPECT_EQ(ports.wait(), 0) << ports.errors();
    EXPECT_EQ(ports.lines(), std::vector<std::string>{});
}

}  // namespace
