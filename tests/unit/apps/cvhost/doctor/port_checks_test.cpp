// What is said of a port before it is opened.
#include <gmock/gmock.h>

#include "apps/cvhost/doctor/PortChecks.h"

namespace cvhost {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

doctor::PortCircumstances well() {
    doctor::PortCircumstances of{.choice = {.why = ports::PortChoice::Why::description, .name = "/dev/ttyUSB0"},
                                 .port = {.machine = {.node = "/dev/ttyUSB0", .vendorId = "0403", .productId = "6001"}}};
    of.port.access = PortAccess{.owner = "root", .group = "dialout", .mode = 0660, .allowed = true, .user = "ann"};
    of.machinePorts = {"/dev/ttyS0", "/dev/ttyUSB0"};
    return of;
}

std::vector<std::string> problemsOf(const doctor::PortCircumstances& of) {
    std::vector<std::string> result;
    for (const doctor::Check& check : doctor::checkPort(of)) result.emplace_back(nameOf(check.id));
    return result;
}

std::string keyboardFinding(const std::optional<PortAccess>& uinput, bool maps) {
    const auto check = doctor::checkKeyboard(uinput, maps);
    return check ? std::string(nameOf(check->result)) + ' ' + std::string(nameOf(check->id)) + ": " + check->next : "";
}

TEST(JudgeKeyboard, Forbidden_IsReportedWithTheRemedy) {
    const PortAccess forbidden{.owner = "root", .group = "root", .mode = 0600, .allowed = false, .user = "ann"};
    EXPECT_THAT(keyboardFinding(forbidden, false), HasSubstr("WARN uinput-permission: install the package's udev rule"));
    EXPECT_THAT(doctor::checkKeyboard(forbidden, true)->text, HasSubstr("may not be opened by ann"));
}

TEST(JudgeKeyboard, AllowedOrMissing_IsReportedToThoseWhoHaveMaps) {
    const PortAccess allowed{.owner = "root", .group = "root", .mode = 0600, .allowed = true, .user = "root"};
    EXPECT_EQ(keyboardFinding(allowed, false), "");
    EXPECT_EQ(keyboardFinding(allowed, true), "PASS uinput-permission: ");
    EXPECT_EQ(keyboardFinding(std::nullopt, false), "");
    EXPECT_EQ(keyboardFinding(std::nullopt, true), "WARN uinput-permission: sudo modprobe uinput");
}

TEST(JudgePort, Well_NothingIsSaid) { EXPECT_THAT(problemsOf(well()), IsEmpty()); }

TEST(JudgePort, NoFile_OtherPortsAreNamed) {
    doctor::PortCircumstances of = well();
    of.port.access.reset();
    of.machinePorts = {"/dev/ttyS0", "/dev/ttyS1"};
    EXPECT_EQ(doctor::checkPort(of).at(0).text, "there is no /dev/ttyUSB0; this machine has /dev/ttyS0 /dev/ttyS1");
}

TEST(JudgePort, NameOfNoPort_NothingElseIsLookedAt) {
    doctor::PortCircumstances of = well();
    of.nameProblem = "it is not a port";
    of.port.terminal = false;
    EXPECT_THAT(problemsOf(of), ElementsAre("port-name"));
    EXPECT_EQ(doctor::checkPort(of).at(0).text, "it is not a port");
}

TEST(JudgePort, NothingChosen_IsNoPort) {
    doctor::PortCircumstances of = well();
    of.choice = {.why = ports::PortChoice::Why::nothing};
    EXPECT_THAT(problemsOf(of), ElementsAre("port-none"));
}

TEST(JudgePort, DriverNotAsked_IsDriverLoad) {
    doctor::PortCircumstances of = well();
    of.choice = {.failure = {"the plug-in cannot be loaded: x"}};
    EXPECT_THAT(problemsOf(of), ElementsAre("driver-load"));
}

TEST(JudgePort, NotAllowed_CommandFitsTheRights) {
    doctor::PortCircumstances of = well();
    of.port.access->allowed = false;
    of.port.access->groupHelps = true;
    EXPECT_EQ(doctor::checkPort(of).at(0).next, "sudo usermod -aG dialout ann, then log out and in again");
    of.port.access->inGroupLater = true;
    EXPECT_THAT(doctor::checkPort(of).at(0).next, HasSubstr("not in this session"));
    of.port.access->groupHelps = of.port.access->inGroupLater = false;
    EXPECT_EQ(doctor::checkPort(of).at(0).next, "sudo chown ann /dev/ttyUSB0 helps until it is unplugged");
}

TEST(JudgePort, Held_CommandFitsTheHolder) {
    doctor::PortCircumstances of = well();
    of.port.holders = {{.process = 812, .program = "agetty", .how = "has it open"}};
    EXPECT_EQ(doctor::checkPort(of).at(0).next, "sudo systemctl stop serial-getty@ttyUSB0");
    of.port.holders = {{.process = 9, .program = "ModemManager", .how = "has locked it"}};
    EXPECT_EQ(doctor::checkPort(of).at(0).next, "sudo systemctl stop ModemManager");
    of.port.holders = {{.process = 9, .program = "brltty", .how = "has it open"},
                       {.process = 10, .program = "", .how = "x"}};
    EXPECT_EQ(doctor::checkPort(of).at(0).next, "sudo systemctl stop brltty");
    EXPECT_THAT(doctor::checkPort(of).at(0).text, HasSubstr("process 9 (brltty) has it open, process 10 x"));
}

TEST(JudgePort, NoTerminal_HoldersAreLeftAlone) {
    doctor::PortCircumstances of = well();
    of.port.terminal = false;
    of.port.access->allowed = false;
    of.port.holders = {{.process = 812, .program = "bash", .how = "has it open"}};
    EXPECT_THAT(problemsOf(of), ElementsAre("port-open"));
    EXPECT_EQ(doctor::checkPort(of).at(0).text, "/dev/ttyUSB0 is no serial port");
}

TEST(JudgePort, ModemManagerToldToKeepAway_IsNoTrouble) {
    doctor::PortCircumstances of = well();
    of.modemManager = 5;
    EXPECT_THAT(problemsOf(of), ElementsAre("modem-manager"));
    of.port.machine.leftAloneByModemManager = true;
    EXPECT_THAT(problemsOf(of), IsEmpty());
}

TEST(JudgePort, ShortLatency_IsNoTrouble) {
    doctor::PortCircumstances of = well();
    of.port.machine.latencyMs = 1;
    EXPECT_THAT(problemsOf(of), IsEmpty());
    of.port.machine.latencyMs = 16;
    EXPECT_THAT(problemsOf(of), ElementsAre("latency-timer"));
}

TEST(JudgePort, PortUnknownToTheMachine_ProgramsAreNotWarnedOf) {
    doctor::PortCircumstances of = well();
    of.machinePorts.clear();
    of.modemManager = of.brltty = 5;
    EXPECT_THAT(problemsOf(of), IsEmpty());
}

}  // namespace
}  // namespace cvhost
