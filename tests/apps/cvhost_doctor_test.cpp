// cvhost doctor: each class of trouble, made for real, and what is said of it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "desk/Monitor.h"
#include "host/core/FileDescriptor.h"
#include "tests/apps/MachineRig.h"
#include "tests/apps/OwnPort.h"
#include "tests/apps/ScriptedConsole.h"

namespace apps_test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class Doctor : public MachineTest {
protected:
    Process::Setup doctor(const std::string& port, Arguments more = {"--quick", "--json"}) const {
        more.insert(more.begin(), {"doctor", "--port", port});
        return command(more);
    }
    /// What was found, as "warn modem-lines"; `skipped`: with what was left out.
    static std::vector<std::string> findings(const Json& report, bool skipped = false) {
        std::vector<std::string> found;
        for (const Json& check : report.at("checks")) {
            EXPECT_EQ(check.contains("next"), check.at("result") != "pass") << check;
            if (check.at("result") == "skip" && !skipped) continue;
            if (check.at("id") == "uinput-permission") continue;  // of the machine that the tests run on
            found.push_back(check.at("result").get<std::string>() + ' ' + check.at("id").get<std::string>());
        }
        return found;
    }
    /// The same without what is found of the model. How much of an answer the driver reads depends on the machine: it waits
    /// a tenth of a second, and not again for what comes piece by piece.
    static std::vector<std::string> findingsButTheModel(const Json& report) {
        std::vector<std::string> found = findings(report);
        std::erase_if(found, [](const std::string& finding) {
            return finding == "warn model-unknown" || finding == "warn identification-none";
        });
        return found;
    }
    /// Makes reports until one is `wanted`: until the machine has let console and driver answer each other in time.
    static Json untilInTime(const std::function<Json()>& examine, const std::function<bool(const Json& report)>& wanted) {
        constexpr int attempts = 10;
        Json report = examine();
        for (int attempt = 1; attempt < attempts && !wanted(report); ++attempt) report = examine();
        return report;
    }
    static std::string textOf(const Json& report, const std::string& id, const std::string& member = "text") {
        for (const Json& check : report.at("checks")) {
            if (check.at("id") == id) return check.value(member, "");
        }
        return "no " + id;
    }
    /// Runs the doctor to its end. What it will touch is said beside the report.
    static Json examine(const Process::Setup& setup, int status) {
        Process process(setup);
        EXPECT_EQ(process.wait(), status) << output(process) << process.errors();
        EXPECT_THAT(process.errors(), MatchesRegex("The driver will look [^\n]+\\.\n(The doctor opens that port[^\n]+\\.\n)?"
                                                   "(Press keys, turn the ring and the wheel now\\.\n)?"));
        const Json report = Json::parse(output(process));
        EXPECT_EQ(report.at("result") == "fail", status == 1) << report;
        return report;
    }
    Json examineDesk(const Arguments& options, int status) const {
        Arguments arguments{"--rfc2217", "0", "--unpaced"};  // a busy machine leaves the line little time
        arguments.insert(arguments.end(), options.begin(), options.end());
        Process desk(cvdesk(arguments));
        return examine(doctor(whereIs(desk)), status);
    }
    Json examineScript(ScriptedConsole::Script script) const {
        ScriptedConsole console(std::move(script));
        return examine(doctor(console.name()), 1);
    }
};

const std::string prompt(desk::prompt);

TEST_F(Doctor, Console_Well_ToldWithModelVersionAndTime) {
    const auto identified = [](const Json& report) {
        return textOf(report, "console-active").find("model \"V4 Corvane EPROM 1.0\"") != std::string::npos;
    };
    const Json report = untilInTime([this] { return examineDesk({}, 0); }, identified);
    EXPECT_THAT(findings(report), ElementsAre("pass console-active"));
    EXPECT_THAT(textOf(report, "console-active"),
                MatchesRegex("the console answered: model \"V4 Corvane EPROM 1.0\", version 7, active after [0-9.]+ s"));
}

TEST_F(Doctor, Model_Unknown_DefaultIsSaidToBeTaken) {
    const auto identified = [](const Json& report) {
        return textOf(report, "model-unknown").find("\"M2 Corvane EPROM 1.0\"") != std::string::npos;
    };
    const Json report = untilInTime([this] { return examineDesk({"--model", "other"}, 0); }, identified);
    EXPECT_THAT(findings(report), ElementsAre("warn model-unknown", "pass console-active"));
    EXPECT_THAT(textOf(report, "model-unknown"), HasSubstr("know, \"M2 Corvane EPROM 1.0\"; it takes it for the default"));
}

TEST_F(Doctor, Version_TooOldForKeys_Fails) {
    const Json report = examineDesk({"--firmware", "6"}, 1);
    EXPECT_THAT(findingsButTheModel(report), ElementsAre("pass console-active", "fail version-old"));
    EXPECT_THAT(textOf(report, "version-old"), StartsWith("version 6 is too old"));
}

TEST_F(Doctor, Version_OtherThanTheDriverTakesItFor_BothAreTold) {
    for (const char* version : {"5", "8"}) {
        const Json report = examineDesk({"--firmware", version}, 0);
        EXPECT_THAT(findingsButTheModel(report), ElementsAre("pass console-active"));
        EXPECT_THAT(textOf(report, "console-active"),
                    HasSubstr("version " + std::string(version) + ", which the driver takes for 7, active after "));
    }
}

TEST_F(Doctor, Program_RunningWithoutMonitor_Warns) {
    const Json report = examineDesk({"--no-monitor"}, 0);
    EXPECT_THAT(findings(report), ElementsAre("warn program-running", "pass console-active"));
    EXPECT_THAT(textOf(report, "program-running"), EndsWith("its prompt after the reset"));
}

TEST_F(Doctor, Program_RunningWithoutRts_NoResetIsTalkedOf) {
    Process desk(ptyDesk({"--running", "--no-monitor"}));
    whereIs(desk);
    const Json report = examine(doctor(deskLink()), 0);
    EXPECT_THAT(findings(report), ElementsAre("warn modem-lines", "warn program-running", "pass console-active"));
    EXPECT_THAT(textOf(report, "program-running"), EndsWith("no boot monitor showed its prompt"));
}

TEST_F(Doctor, Line_Silent_Fails) { EXPECT_THAT(findings(examineDesk({"--silent"}, 1)), ElementsAre("fail line-silent")); }

TEST_F(Doctor, Line_NoiseOnly_FailsAndShowsItInHex) {
    const Json report = examineScript({.onReset = std::string("\0\xff~", 3)});
    EXPECT_THAT(findings(report), ElementsAre("fail line-noise"));
    EXPECT_THAT(textOf(report, "line-noise"), HasSubstr(": 00 FF 7E 00 FF 7E"));
}

TEST_F(Doctor, Monitor_PromptOnly_IdentificationIsMissed) {
    const auto asked = [](const Json& report) { return textOf(report, "version-none") == "no version-none"; };
    const Json report = untilInTime([this] { return examineScript({.onReset = prompt}); }, asked);
    EXPECT_THAT(findings(report), ElementsAre("fail identification-none"));
}

TEST_F(Doctor, Program_StartedButMute_VersionIsMissed) {
    const Json report = examineScript({.onReset = prompt,
                                       .answers = {{"H ", "H "},
                                                   {"H \r", "\r\r\nV4 Corvane EPROM 1.0" + prompt},
                                                   {"J 0100 0", "J 0100 0"},
                                                   {"J 0100 0\r", "\r\r\n"}}});
    EXPECT_THAT(findingsButTheModel(report), ElementsAre("fail version-none"));
    EXPECT_THAT(textOf(report, "version-none"), HasSubstr("but told no version"));
}

TEST_F(Doctor, Writes_NotTaken_Fail) {
    ScriptedConsole console({.onReset = prompt, .suspendsAt = ""});
    Process process(doctor(console.name(), {"--quick"}));
    process.waitForLine([](const std::string& line) { return line.starts_with("FAIL  write-failed "); });
    console.hangUp();  // so that the driver need not try every byte
    EXPECT_EQ(process.wait(), 1);
    EXPECT_THAT(output(process), Not(AnyOf(HasSubstr("line-silent"), HasSubstr("WARN"))));
}

TEST_F(Doctor, ModemLines_None_Warns) {
    Process desk(ptyDesk());
    whereIs(desk);
    const Json report = examine(doctor(deskLink()), 0);
    EXPECT_THAT(findingsButTheModel(report), ElementsAre("warn modem-lines", "pass console-active"));
}

// What comes while the console is held in reset is purged: the driver does not read this prompt, and asks for no model.
TEST_F(Doctor, Monitor_PromptThatTheDriverPurges_NoIdentificationIsMissed) {
    const auto examined = [this] {
        ScriptedConsole console({.inReset = prompt,
                                 .answers = {{"H ", "H "},
                                             {"H \r", "\r\r\nV4 Corvane EPROM 1.0" + prompt},
                                             {"J 0100 0", "J 0100 0"},
                                             {"J 0100 0\r", "\r\r\n"},
                                             {"? ", "V007 "}}});
        return examine(doctor(console.name()), 0);
    };
    const auto notAsked = [](const Json& report) {
        return textOf(report, "console-active").find("model not asked") != std::string::npos;
    };
    const Json report = untilInTime(examined, notAsked);
    EXPECT_THAT(findings(report), ElementsAre("pass console-active"));
    EXPECT_THAT(textOf(report, "console-active"), HasSubstr("model not asked"));
}

TEST_F(Doctor, Port_GoneInStartup_IsLost) {
    EXPECT_THAT(findings(examineScript({.hangsUp = true})), ElementsAre("fail port-lost"));
}

TEST_F(Doctor, Port_Refused_CannotBeOpened) {
    const RefusingPort nobodyThere;
    const Json report = examine(doctor("rfc2217://127.0.0.1:" + std::to_string(nobodyThere.number())), 1);
    EXPECT_THAT(findings(report), ElementsAre("fail port-open"));
    EXPECT_THAT(textOf(report, "port-open"), HasSubstr("connection refused"));
}

TEST_F(Doctor, Port_HeldByAnother_IsToldByWhom) {
    Process desk(ptyDesk());
    whereIs(desk);
    const cvhost::FileDescriptor holding = cvhost::owned(::open(deskLink().c_str(), O_RDWR | O_NOCTTY), deskLink());
    const Json report = examine(doctor(deskLink()), 1);
    EXPECT_THAT(findings(report), ElementsAre("fail port-held"));
    EXPECT_THAT(textOf(report, "port-held"), HasSubstr(std::to_string(::getpid()) + " (doctor_test) has it open"));
    EXPECT_EQ(textOf(report, "port-held", "next"), "close it, or: kill " + std::to_string(::getpid()));
}

// Many programs have /dev/null open: none of them is to be ended.
TEST_F(Doctor, Port_NoTerminal_IsNoSerialPort) {
    const cvhost::FileDescriptor holding = cvhost::owned(::open("/dev/null", O_RDWR), "/dev/null");
    for (const std::string& name : {std::string("/dev/null"), m_folder.write("file", ""), m_folder.path().string()}) {
        const Json report = examine(doctor(name), 1);
        EXPECT_THAT(findings(report), ElementsAre("fail port-open"));
        EXPECT_EQ(textOf(report, "port-open"), name + " is no serial port");
    }
}

TEST_F(Doctor, Port_NoPermission_IsToldWithTheCommand) {
    Process desk(ptyDesk());
    whereIs(desk);
    const bool root = ::geteuid() == 0;
    ASSERT_TRUE(!root || ::chown(device().c_str(), 0, 20) == 0);  // the group dialout, on every Debian
    ASSERT_EQ(::chmod(device().c_str(), 0060), 0);
    Process::Setup setup = doctor(device());
    if (root) {
        // Without its capabilities even root is bound by a file's rights.
        const std::vector<std::string> head{"/usr/bin/setpriv", "--bounding-set=-all", "--inh-caps=-all"};
        setup.command.insert(setup.command.begin(), head.begin(), head.end());
    }
    const Json report = examine(setup, 1);
    EXPECT_THAT(findings(report), ElementsAre("fail port-permission"));
    if (!root) return;
    EXPECT_THAT(textOf(report, "port-permission"), HasSubstr("may not be opened by root: it belongs to root:dialout 0060"));
    EXPECT_EQ(textOf(report, "port-permission", "next"), "sudo usermod -aG dialout root, then log out and in again");
}

TEST_F(Doctor, Machine_WithoutPorts_NoneIsToldOf) {
    Process::Setup setup = command({"doctor", "--quick", "--json"});
    setup.command.insert(setup.command.begin(), {"/usr/bin/umockdev-run", "--"});
    setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
    const Json report = examine(setup, 1);
    EXPECT_THAT(findings(report), ElementsAre("fail port-none"));
    EXPECT_EQ(textOf(report, "port-none"), "there is no /dev/ttyUSB0; this machine has no serial port");
}

TEST_F(Doctor, Machine_WithBusyPrograms_WarnsOfEach) {
    Process desk(ptyDesk());
    whereIs(desk);
    std::vector<std::unique_ptr<Process>> programs;
    for (const char* name : {"ModemManager", "brltty"}) {
        std::filesystem::copy_file("/bin/sleep", m_folder.path() / name);
        programs.push_back(std::make_unique<Process>(Process::Setup{.command = {m_folder.path() / name, "600"}}));
    }
    const std::string bundle = m_folder.path() / "bundle.tar.gz";
    const Json report = examine(inMachine(command({"doctor", "--quick", "--json", "--bundle", bundle}), device()), 0);
    Process tar({.command = {"/bin/tar", "-xzOf", bundle, "cvhost-doctor/udev.txt"}});
    ASSERT_EQ(tar.wait(), 0) << tar.errors();
    EXPECT_THAT(tar.lines(), AllOf(Contains("DEVNAME=/dev/ttyUSB0"), Contains("SUBSYSTEM=usb-serial")));
    EXPECT_THAT(findingsButTheModel(report), ElementsAre("warn modem-manager", "warn brltty", "warn latency-timer",
                                                         "warn modem-lines", "pass console-active"));
    EXPECT_THAT(textOf(report, "modem-manager", "next"), HasSubstr("ATTRS{idProduct}==\"6001\""));
    EXPECT_THAT(textOf(report, "latency-timer"), HasSubstr("up to 16 ms"));
    EXPECT_EQ(report.at("port"), "/dev/ttyUSB0");
}

TEST_F(Doctor, Preference_Off_WarnsAndLooksAllTheSame) {
    writeSettings("[preferences]\nHardwareConsoleEnabled = false\n");
    EXPECT_THAT(findingsButTheModel(examineDesk({}, 0)), ElementsAre("warn preference-off", "pass console-active"));
}

TEST_F(Doctor, SettingsFile_Broken_Warns) {
    writeSettings("[settings]\nconsole_port = \"/dev/ttyS7\n");
    const Json report = examineDesk({}, 0);
    EXPECT_THAT(findingsButTheModel(report), ElementsAre("warn settings-file", "pass console-active"));
    EXPECT_THAT(textOf(report, "settings-file"), HasSubstr("/cvhost.toml is ignored: line 2, column"));
}

TEST_F(Doctor, Settings_MistypedOrOfTheWrongType_Warn) {
    writeSettings("[settings]\nconsole_prot = \"/dev/ttyS7\"\njog_wheel_gearing = \"abc\"\n");
    const Json report = examineDesk({}, 0);
    EXPECT_THAT(findingsButTheModel(report),
                ElementsAre("warn setting-unknown", "warn setting-invalid", "pass console-active"));
    EXPECT_EQ(textOf(report, "setting-unknown"), "unknown setting \"console_prot\" (did you mean \"console_port\"?)");
    EXPECT_THAT(textOf(report, "setting-invalid"),
                StartsWith("setting \"jog_wheel_gearing\" must be a number (default 0.001)"));
}

TEST_F(Doctor, Setting_NoPortsName_FailsBeforeAnythingIsOpened) {
    writeSettings("[settings]\nconsole_port = \"COM3\"\n");
    Process::Setup setup = command({"doctor", "--quick", "--json"});
    setup.command.insert(setup.command.begin(), {"/usr/bin/umockdev-run", "--"});
    setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
    const Json report = examine(setup, 1);
    EXPECT_THAT(findings(report), ElementsAre("warn setting-invalid", "fail port-name"));
    EXPECT_THAT(textOf(report, "port-name"), StartsWith("\"COM3\" is not a port: name a device such as /dev/ttyUSB0"));
}

TEST_F(Doctor, Port_MistypedPath_TheMachinesSimilarOneIsNamed) {
    for (const auto& [name, meant] : {std::pair{"ttyUSB0", "/dev/ttyUSB0"}, std::pair{"ttyACM1", "/dev/ttyACM0"}}) {
        Process process(inMachine(command({"run", "--port", name}), ""));
        EXPECT_EQ(process.wait(), 2);
        EXPECT_THAT(process.errors(), HasSubstr('"' + std::string(name) + "\" is not a port: name a device such as"));
        EXPECT_THAT(process.errors(), HasSubstr(" (did you mean \"" + std::string(meant) + "\"?); "));
    }
}

TEST_F(Doctor, Tests_LeftOutByQuick_AreSaidToBe) {
    const Json report = examineDesk({}, 0);
    EXPECT_THAT(findings(report, true), IsSupersetOf({"pass console-active", "skip lamp-test", "skip key-test"}));
    EXPECT_EQ(textOf(report, "key-test"), "left out, as --quick asks");
}

TEST_F(Doctor, KeyTest_OfVersionWithoutInput_IsSaidToBeLeftOut) {
    Process desk(cvdesk({"--rfc2217", "0", "--firmware", "6"}));
    Process process(doctor(whereIs(desk), {}));
    EXPECT_EQ(process.wait(), 1);
    EXPECT_THAT(output(process), AllOf(HasSubstr("\nSKIP  key-test             left out: the driver ignores the keys"),
                                       HasSubstr(" failed, 1 skipped; ")));
}

TEST_F(Doctor, KeyTest_WithoutTerminal_AsksForKeysOnce) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    Process process(doctor(whereIs(desk), {}));
    process.waitForLine([](const std::string& line) { return line == "Press keys, turn the ring and the wheel now."; });
    process.signal(SIGINT);
    EXPECT_EQ(process.wait(), 0) << process.errors();
}

TEST_F(Doctor, Driver_Missing_IsTold) {
    // A copy of the program has no driver beside it.
    std::filesystem::copy_file(CVHOST_PROGRAM, m_folder.path() / "cvhost");
    Process::Setup setup = doctor("rfc2217://127.0.0.1:1");
    setup.command.front() = m_folder.path() / "cvhost";
    setup.environment["LD_LIBRARY_PATH"] = std::filesystem::path(CVHOST_LIBRARY).parent_path();
    EXPECT_THAT(findings(examine(setup, 1)), ElementsAre("fail driver-load"));
}

TEST_F(Doctor, Tests_OfLampsAndKeys_TellWhatArrived) {
    const std::string script = m_folder.write("script",
                                              "wait active\nexpect lamp 10 F\nexpect lamp 25 F\nexpect lamp 40 F\n"
                                              "expect wheel on\ntap A\ntap A\ntap P\nshuttle 200\njog 3\n");
    Process desk(cvdesk({"--rfc2217", "0", "--script", script}));
    const Json report = examine(doctor(whereIs(desk), {"--json"}), 0);
    EXPECT_THAT(findingsButTheModel(report), ElementsAre("pass console-active", "pass lamp-test", "pass key-test"));
    EXPECT_THAT(textOf(report, "key-test"),
                MatchesRegex("keys A \\(2 times\\) P; shuttle ring from x0\\.00 to x[1-9.]+; jog wheel 3\\.00 counts"));
}

TEST_F(Doctor, Signal_InTheLampTest_EndsItWithLampsOff) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Process desk(cvdesk({"--rfc2217", "0", "--script", m_folder.write("script", "wait active\n")}));
        Process process(doctor(whereIs(desk), {}));
        desk.waitForLine([](const std::string& line) { return line.find("lamp     20 on") != line.npos; });
        process.signal(signal);
        EXPECT_EQ(process.wait(), 0) << process.errors();
        EXPECT_THAT(output(process),
                    AllOf(HasSubstr("WARN  lamp-test            ended at lamp "), HasSubstr("WARN  interrupted ")));
        desk.waitForLine([](const std::string& line) { return line.find("lamp     20 off") != line.npos; });
    }
}

TEST_F(Doctor, Signal_OnceTheConsoleIsActive_TestsLeftOutAreToldOf) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    Process process(doctor(whereIs(desk), {}));
    process.waitForLine([](const std::string& line) { return line.starts_with("PASS  console-active "); });
    process.signal(SIGINT);
    EXPECT_EQ(process.wait(), 0) << process.errors();
    EXPECT_THAT(output(process), AllOf(HasSubstr("WARN  interrupted "), HasSubstr("\nWARN: ")));
}

TEST_F(Doctor, Signal_InTheKeyTest_IsNotTakenForAConsoleWithoutKeys) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    Process process(doctor(whereIs(desk), {}));
    desk.waitForLine([lamps = false](const std::string& line) mutable {
        lamps |= line.find("lamp     46 on") != line.npos;
        return lamps && line.find("wheel    on") != line.npos;
    });
    process.signal(SIGINT);
    EXPECT_EQ(process.wait(), 0) << process.errors();
    EXPECT_THAT(output(process), AllOf(HasSubstr("PASS  lamp-test "), HasSubstr("WARN  key-test             ended before "),
                                       HasSubstr("WARN  interrupted ")));
}

TEST_F(Doctor, Signal_InStartup_EndsIt) {
    Process desk(cvdesk({"--rfc2217", "0", "--silent"}));
    Process process(doctor(whereIs(desk), {"--quick"}));
    process.waitForLine([](const std::string& line) { return line.starts_with("The doctor opens"); });
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait(), 1);
    EXPECT_THAT(output(process), AllOf(HasSubstr("FAIL  interrupted "), Not(HasSubstr("line-silent"))));
}

TEST_F(Doctor, Signal_BetweenVersionAndLamps_LeavesNoLampLit) {
    const std::string script = m_folder.write("script", "wait active\nsleep 2s\nexpect lamp 2 O\nquit\n");
    Process desk(cvdesk({"--rfc2217", "0", "--script", script}));
    Process process(doctor(whereIs(desk), {"--quick"}));
    desk.waitForLine([](const std::string& line) { return line.find("has told its version") != line.npos; });
    process.signal(SIGTERM);
    process.wait();
    EXPECT_EQ(desk.wait(), 0) << desk.errors();
}

TEST_F(Doctor, Output_FullOrClosed_IsSaidAndNotTakenForSuccess) {
    for (const auto& [to, reason] : {std::pair{"/dev/full", "No space left on device"}, {"&-", "Bad file descriptor"}}) {
        for (const Arguments& how : {Arguments{"--quick", "--json"}, Arguments{"--quick"}}) {
            Process desk(cvdesk({"--rfc2217", "0", "--unpaced"}));
            Process::Setup setup = doctor(whereIs(desk), how);
            setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", std::string("exec \"$0\" \"$@\" >") + to});
            Process process(setup);
            EXPECT_EQ(process.wait(), 1);
            EXPECT_THAT(process.errors(), EndsWith(std::string("cvhost: cannot write to standard output: ") + reason +
                                                   "; give it a terminal, a file or /dev/null.\n"));
        }
    }
}

TEST_F(Doctor, Bundle_Asked_HoldsAllThatIsNeeded) {
    writeSettings("[settings]\njog_wheel_gearing = 2.0\n");
    std::filesystem::create_directories(m_folder.path() / "state/cvhost");
    m_folder.write("state/cvhost/cvhost.log.1", "earlier\n");
    const std::string path = m_folder.path() / "bundle.tar.gz";
    Process desk(cvdesk({"--rfc2217", "0"}));
    examine(doctor(whereIs(desk), {"--quick", "--json", "--bundle", path}), 0);

    struct stat status{};
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFREG | 0600));
    Process tar({.command = {"/bin/tar", "-xzf", path, "-C", m_folder.path()}});
    ASSERT_EQ(tar.wait(), 0) << tar.errors();
    const auto content = [&](const char* name) {
        std::ifstream in(m_folder.path() / "cvhost-doctor" / name);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    EXPECT_THAT(content("report.txt"), HasSubstr("PASS  console-active"));
    EXPECT_THAT(findingsButTheModel(Json::parse(content("report.json"))), ElementsAre("pass console-active"));
    EXPECT_TRUE(Json::parse(content("ports.json")).contains("ports"));
    EXPECT_THAT(content("recording.jsonl"), HasSubstr("J 0100 0"));
    EXPECT_THAT(content("log.txt"), HasSubstr("console version 7"));
    EXPECT_THAT(content("cvhost.log"), HasSubstr("console version 7"));
    EXPECT_THAT(content("recording.jsonl"), HasSubstr(R"("event":"setting","name":"jog_wheel_gearing","text":"2.0")"));
    EXPECT_EQ(content("cvhost.log.1"), "earlier\n");
    EXPECT_THAT(content("versions.txt"), StartsWith("cvhost "));
    EXPECT_THAT(content("packages.txt"), AllOf(HasSubstr("libc6 2."), Not(HasSubstr("bash"))));
    EXPECT_THAT(content("os-release"), HasSubstr("VERSION_ID="));
    EXPECT_EQ(content("udev.txt"), "") << "a network port is no device";
    EXPECT_THAT(content("cvhost.toml"), HasSubstr("jog_wheel_gearing"));
}

TEST_F(Doctor, Bundle_PathTaken_NothingIsTouched) {
    const std::string path = m_folder.path() / "bundle";
    const std::string target = m_folder.path() / "target";
    std::filesystem::create_symlink(target, path);
    ScriptedConsole console({});
    Process process(doctor(console.name(), {"--bundle", path}));
    EXPECT_EQ(process.wait(), 2);
    EXPECT_THAT(process.errors(), MatchesRegex("cvhost: cannot make the bundle [^\n]*: File exists; [^\n]+\\.\n"));
    EXPECT_FALSE(std::filesystem::exists(target));
    EXPECT_THAT(output(process), IsEmpty());
}

TEST_F(Doctor, Bundle_CannotBeWritten_IsSaidAndIsAFailure) {
    Process desk(cvdesk({"--rfc2217", "0"}));
    Process::Setup setup = doctor(whereIs(desk), {"--quick", "--bundle", m_folder.path() / "bundle.tar.gz"});
    setup.command.insert(setup.command.begin(), {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 1; exec \"$0\" \"$@\""});
    Process process(setup);
    EXPECT_EQ(process.wait(), 1);
    EXPECT_THAT(process.errors(), HasSubstr("could not be written"));
    EXPECT_THAT(output(process), HasSubstr("PASS  console-active"));
}

TEST_F(Doctor, Bundle_SettingsFileIsALink_LeftOut) {
    std::filesystem::create_directories(m_folder.path() / "config/cvhost");
    std::filesystem::create_symlink(m_folder.write("elsewhere", ""), m_folder.path() / "config/cvhost/cvhost.toml");
    const std::string path = m_folder.path() / "bundle.tar.gz";
    examine(doctor("/nowhere", {"--json", "--bundle", path}), 1);
    Process tar({.command = {"/bin/tar", "-tzf", path}});
    ASSERT_EQ(tar.wait(), 0);
    EXPECT_THAT(tar.lines(), IsSupersetOf({"cvhost-doctor/report.txt", "cvhost-doctor/versions.txt"}));
    EXPECT_THAT(output(tar), Not(HasSubstr("cvhost.toml")));
}

}  // namespace
}  // namespace apps_test
