// cvhost ports: which ports there are, which one the driver would choose, and that it opens none.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>

#include "host/core/FileDescriptor.h"
#include "tests/apps/MachineRig.h"

namespace apps_test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class Ports : public MachineTest {
protected:
    /// The choice among no ports at all, with this settings file; what it is complained of goes to `errors`.
    Json choiceBySettings(const std::string& file, std::string* errors = nullptr) const {
        writeSettings(file);
        Process::Setup setup = command({"ports", "--json"});
        setup.command.insert(setup.command.begin(), {"/usr/bin/umockdev-run", "--"});
        setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
        Process process(setup);
        EXPECT_EQ(process.wait(), 0) << process.errors();
        if (errors != nullptr) *errors = process.errors();
        return Json::parse(output(process)).at("choice");
    }
    static bool hasSeenSomething(const cvhost::FileDescriptor& watch) {
        std::array<char, sizeof(inotify_event) + NAME_MAX + 1> event{};
        return ::read(watch.get(), event.data(), event.size()) > 0;
    }
};

TEST_F(Ports, Machine_MadeUp_AllThatIsKnownIsTold) {
    Process desk(ptyDesk());
    whereIs(desk);
    Process process(inMachine(command({"ports", "--json"}), device()));
    ASSERT_EQ(process.wait(), 0) << process.errors();
    const Json all = Json::parse(output(process));
    ASSERT_EQ(all.at("ports").size(), 3u);
    EXPECT_EQ(all.at("ports").at(0).at("name"), "/dev/ttyACM0");
    EXPECT_EQ(all.at("ports").at(0).at("serial_number"), Json());
    EXPECT_EQ(all.at("ports").at(1).at("description"), Json());
    EXPECT_EQ(all.at("ports").at(1).at("driver"), "serial");
    Json usb = all.at("ports").at(2);
    EXPECT_EQ(usb.at("access").at("allowed"), true);
    usb.erase("access");
    EXPECT_EQ(usb, (Json{{"name", "/dev/ttyUSB0"},
                         {"description", "USB Serial Port"},
                         {"usb_vendor", "0403"},
                         {"usb_product", "6001"},
                         {"serial_number", "A50285BI"},
                         {"by_path", "/dev/serial/by-path/pci-0000:00:14.0-usb-0:1:1.0-port0"},
                         {"driver", "ftdi_sio"},
                         {"latency_ms", 16},
                         {"held_by", Json::array()}}));
    EXPECT_EQ(all.at("choice").at("name"), "/dev/ttyUSB0");
    EXPECT_EQ(all.at("choice").at("why"), "description");
}

TEST_F(Ports, Machine_AskedWithoutJson_SaysWhichAndWhy) {
    Process process(inMachine(command({"ports"}), "/dev/null"));
    ASSERT_EQ(process.wait(), 0) << process.errors();
    EXPECT_THAT(output(process),
                AllOf(StartsWith("/dev/ttyACM0  \"Corvane Console\"\n"), HasSubstr("0403:6001, serial number A5"),
                      HasSubstr("ftdi_sio, latency timer 16 ms")));
    EXPECT_EQ(process.lines().back(),
              "The driver will look for the console on /dev/ttyUSB0, because of its description "
              "\"USB Serial Port\".");
}

TEST_F(Ports, Setting_WithoutFittingDescription_IsTheReason) {
    const Json choice = choiceBySettings("[settings]\nconsole_port = \"/dev/ttyS7\"\n");
    EXPECT_EQ(choice.at("name"), "/dev/ttyS7");
    EXPECT_EQ(choice.at("why"), "setting");
    EXPECT_THAT(choice.at("text").get<std::string>(), HasSubstr("there is no such port now"));
}

TEST_F(Ports, Setting_PseudoTerminal_IsThereAndIsNotOpened) {
    Process desk(ptyDesk());
    whereIs(desk);
    const cvhost::FileDescriptor watch = cvhost::owned(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "inotify");
    ASSERT_GE(::inotify_add_watch(watch.get(), device().c_str(), IN_OPEN), 0);
    const std::string settings = "[settings]\nconsole_port = \"" + deskLink() + "\"\n";
    Json choice = choiceBySettings(settings);
    EXPECT_FALSE(hasSeenSomething(watch)) << "the port was opened";
    cvhost::owned(::open(deskLink().c_str(), O_RDWR | O_NOCTTY), deskLink());
    EXPECT_TRUE(hasSeenSomething(watch)) << "an opening would not have been seen";
    EXPECT_EQ(choice.at("name"), deskLink());
    EXPECT_THAT(choice.at("text").get<std::string>(), EndsWith("the setting console_port names it"));
    desk.signal(SIGTERM);
    ASSERT_EQ(desk.wait(), 0);
    choice = choiceBySettings(settings);
    EXPECT_THAT(choice.at("text").get<std::string>(), EndsWith("there is no such port now"));
}

TEST_F(Ports, SettingsFile_Broken_IsSaidBesideTheChoice) {
    std::string errors;
    const Json choice = choiceBySettings("[settings]\nconsole_port = \"/dev/ttyS7\n", &errors);
    EXPECT_EQ(choice.at("why"), "default");
    EXPECT_THAT(
        errors,
        MatchesRegex("cvhost: the settings file [^\n]*/cvhost\\.toml is ignored: line 2, column [^\n]+; correct it, or "
                     "move it away\\.\n"));
}

TEST_F(Ports, Setting_NoText_IsSaidToBeIgnored) {
    const Json choice = choiceBySettings("[settings]\nconsole_port = 5\n");
    EXPECT_EQ(choice.at("name"), "/dev/ttyUSB0");
    EXPECT_EQ(choice.at("why"), "default");
    EXPECT_THAT(choice.at("text").get<std::string>(),
                HasSubstr("the setting console_port is ignored, as it is no text in quotes: it is the driver's default"));
}

TEST_F(Ports, Settings_MistypedAndOfTheWrongType_AreSaidWithWhatWasMeant) {
    std::string errors;
    const Json choice = choiceBySettings(
        "[settings]\nconsole_prot = \"/dev/ttyS7\"\nconsole_debug = \"yes\"\nconsole_port = \"tty S7\"\n"
        "[preferences]\nHardwareConsoleEnabld = true\n",
        &errors);
    EXPECT_EQ(choice.at("name"), "tty S7") << "the driver takes any text";
    EXPECT_THAT(errors,
                AllOf(HasSubstr("/cvhost.toml: unknown setting \"console_prot\" (did you mean \"console_port\"?).\n"),
                      HasSubstr("/cvhost.toml: setting \"console_debug\" must be a whole number from 0 to 1 "
                                "(default 0).\n"),
                      HasSubstr("/cvhost.toml: setting \"console_port\": \"tty S7\" is not a port: "),
                      HasSubstr("unknown preference \"HardwareConsoleEnabld\" (did you mean "
                                "\"HardwareConsoleEnabled\"?).\n")));
}

TEST_F(Ports, Driver_Missing_ChoiceIsNotKnown) {
    // A copy of the program has no driver beside it.
    std::filesystem::copy_file(CVHOST_PROGRAM, m_folder.path() / "cvhost");
    Process::Setup setup = command({"ports"});
    setup.command.front() = m_folder.path() / "cvhost";
    setup.environment["LD_LIBRARY_PATH"] = std::filesystem::path(CVHOST_LIBRARY).parent_path();
    Process process(setup);
    EXPECT_EQ(process.wait(), 1);
    EXPECT_THAT(process.lines().back(), MatchesRegex("Which port the driver will choose is not known: there is no plug-in "
                                                     "[^;]+; build or install it there\\."));
}

TEST_F(Ports, Setting_Empty_NoPortIsChosen) {
    EXPECT_EQ(choiceBySettings("[settings]\nconsole_port = \"\"\n").at("why"), "nothing");
}

}  // namespace
}  // namespace apps_test
