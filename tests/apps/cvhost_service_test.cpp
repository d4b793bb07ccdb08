// cvhost under a service manager: what it notifies, how it ends, and which adapter it takes.
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <optional>

#include "lines/DeskServer.h"
#include "tests/apps/MachineRig.h"
#include "tests/apps/ServiceRig.h"
#include "tests/support/OscProgram.h"

namespace apps_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Service : public MachineTest {
protected:
    /// `cvhost run` with these arguments, as its service manager starts it.
    Process::Setup service(Arguments arguments) const {
        arguments.insert(arguments.begin(), "run");
        Process::Setup setup = command(arguments);
        setup.environment["NOTIFY_SOCKET"] = m_notified.path();
        setup.environment["XDG_RUNTIME_DIR"] = m_folder.path();
        return setup;
    }
    /// In a machine with two adapters named Corvane, each of which leads to the desk, and an adapter of another kind, which
    /// leads nowhere.
    Process::Setup withTwoDesks(Process::Setup setup) const {
        const std::string dev = "$UMOCKDEV_DIR/dev/tty";
        const std::string start = "rm -f " + dev + "*; ln -s '" + device() + "' " + dev + "USB1; ln -s '" + device() + "' " +
                                  dev + "USB2; exec \"$@\"";
        setup.command.insert(setup.command.begin(),
                             {"/usr/bin/umockdev-run", "-d", TWO_DESKS, "--", "/bin/sh", "-c", start, "sh"});
        setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
        return setup;
    }
    static int end(Process& process) {
        process.signal(SIGTERM);
        return process.wait();
    }

    NotifySocket m_notified{m_folder.path() / "notify"};
};

TEST_F(Service, Notify_NoConsole_ReadyThenWaitingThenStopping) {
    Process host(service({"--port", "/dev/none"}));
    m_notified.waitFor("READY=1");
    m_notified.waitFor("STATUS=waiting for a console on /dev/none: no such file or directory");
    EXPECT_EQ(end(host), 0) << host.errors();
    m_notified.waitFor("STOPPING=1");
    EXPECT_THAT(host.errors(), Not(HasSubstr("no console became active")));
    EXPECT_EQ(std::ranges::count(m_notified.all(), "READY=1"), 1);
    EXPECT_EQ(std::ranges::count(m_notified.all(), "STOPPING=1"), 1);
}

TEST_F(Service, Map_TargetCannotBeWorkedYet_IsTriedAgain) {
    OscProgram program;
    std::optional<OscProgram> other(std::in_place);
    const std::string map = m_folder.write("map.toml", "target = 'osc'\nport = " + std::to_string(program.port()) +
                                                           "\nlisten = " + std::to_string(other->port()) +
                                                           "\nhello = ['/hi']\n[keys]\nE = '/e'\n");
    Process host(service({"--desk", "--map", map}));
    m_notified.waitFor("STATUS=active, version 7, waiting for the target of map map");
    other.reset();
    EXPECT_THAT(program.receive(), HasSubstr("/hi"));
    m_notified.waitFor("STATUS=active, version 7, map map");
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(host.errors(), HasSubstr("; cvhost tries again"));
}

TEST_F(Service, Notify_PreferenceOff_ReadyAllTheSame) {
    Process host(service({"--prefer", "HardwareConsoleEnabled=false"}));
    m_notified.waitFor("READY=1");
    m_notified.waitFor("STATUS=looking for no console");
    EXPECT_EQ(end(host), 0) << host.errors();
}

TEST_F(Service, Notify_Console_VersionIsInTheStatus) {
    Process host(service({"--desk"}));
    m_notified.waitFor("STATUS=active, version 7");
    EXPECT_EQ(end(host), 0) << host.errors();
}

TEST_F(Service, Notify_Map_ItsNameIsInTheStatus) {
    const std::string file = m_folder.write("film.toml", "target = \"mpv\"\nsocket = \"/nowhere\"\n[keys]\nE = \"play\"\n");
    Process host(service({"--desk", "--map", file}));
    m_notified.waitFor("STATUS=active, version 7, map film");
    EXPECT_EQ(end(host), 0) << host.errors();
}

TEST_F(Service, Map_OfTheSettings_IsInForceUnlessTheCommandLineTakesIt) {
    const std::string file = m_folder.write("film.toml", "target = \"mpv\"\nsocket = \"/nowhere\"\n[keys]\nE = \"play\"\n");
    writeSettings("[settings]\nmap = \"" + file + "\"\n");
    Process mapped(service({"--desk"}));
    m_notified.waitFor("STATUS=active, version 7, map film");
    EXPECT_EQ(end(mapped), 0) << mapped.errors();
    Process unmapped(service({"--desk", "--set", "map="}));
    m_notified.waitFor("STATUS=active, version 7");
    EXPECT_EQ(end(unmapped), 0) << unmapped.errors();
}

TEST_F(Service, Watchdog_LoopTurns_IsFedAgainAndAgain) {
    Process::Setup setup = service({"--port", "/dev/none"});
    setup.environment["WATCHDOG_USEC"] = "2000000";
    Process host(setup);
    m_notified.waitFor([fed = 0](const std::string& each) mutable { return each == "WATCHDOG=1" && ++fed == 3; });
    EXPECT_EQ(end(host), 0) << host.errors();
}

TEST_F(Service, Watchdog_NoneAsked_NothingIsFed) {
    Process host(service({"--desk"}));
    m_notified.waitFor("STATUS=active, version 7");
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(m_notified.all(), Not(Contains("WATCHDOG=1")));
}

TEST_F(Service, Signal_WithoutServiceManager_NoConsoleIsStatus1) {
    Process::Setup setup = service({"--port", "/dev/none"});
    setup.environment["NOTIFY_SOCKET"] = "";
    Process host(setup);
    host.waitForLine([](const std::string& line) { return line.find("Looking for console") != line.npos; });
    EXPECT_EQ(end(host), 1);
    EXPECT_THAT(host.errors(), HasSubstr("no console became active"));
    EXPECT_THAT(m_notified.all(), ElementsAre());
}

TEST_F(Service, Journal_StandardOutputLeadsThere_EntriesInPlaceOfTextAndFile) {
    const std::vector<std::string> apart{"/usr/bin/unshare", "--map-root-user", "--mount", "/bin/sh", "-c"};
    std::vector<std::string> trial = apart;
    trial.emplace_back("mount -t tmpfs tmpfs /run");
    Process possible({.command = trial});
    if (possible.wait() != 0) GTEST_SKIP() << "no process may have mounts of its own here";
    const std::string folder = m_folder.path() / "journal";
    std::filesystem::create_directory(folder);
    NotifySocket journal(folder + "/socket");
    Process::Setup setup = service({"--desk"});
    setup.environment["XDG_RUNTIME_DIR"] = "";
    std::vector<std::string> command = apart;
    command.push_back("mount -t tmpfs tmpfs /run && mkdir -p /run/systemd/journal && mount --bind '" + folder +
                      "' /run/systemd/journal && exec 3>&1 && JOURNAL_STREAM=$(stat -L -c %d:%i /dev/fd/3) exec \"$@\"");
    command.emplace_back("sh");
    command.insert(command.end(), setup.command.begin(), setup.command.end());
    setup.command = command;
    Process host(setup);
    const auto has = [](const std::string& field) {
        return [field](const std::string& entry) { return ('\n' + entry + '\n').find('\n' + field + '\n') != entry.npos; };
    };
    journal.waitFor(has("CORVANE_VERSION=7"));
    EXPECT_EQ(end(host), 0) << host.errors();
    const std::vector<std::string>& entries = journal.all();
    const auto active = std::ranges::find_if(entries, has("CORVANE_VERSION=7"));
    EXPECT_TRUE(has("MESSAGE=console version 7")(*active) && has("PRIORITY=5")(*active)) << *active;
    EXPECT_TRUE(has("SYSLOG_IDENTIFIER=cvhost")(*active)) << *active;
    EXPECT_TRUE(std::ranges::any_of(entries, has("MESSAGE=lamps and wheel off, the driver is unloaded")));
    EXPECT_THAT(host.lines(), ElementsAre());
    EXPECT_FALSE(std::filesystem::exists(m_folder.path() / "state/cvhost/cvhost.log"));
}

TEST_F(Service, Journal_StreamIsAnother_TextAndFileAsEver) {
    Process::Setup setup = service({"--desk"});
    setup.environment["JOURNAL_STREAM"] = "1:1";
    Process host(setup);
    m_notified.waitFor("STATUS=active, version 7");
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_FALSE(host.lines().empty());
    EXPECT_TRUE(std::filesystem::exists(m_folder.path() / "state/cvhost/cvhost.log"));
}

TEST_F(Service, Bundle_JournalHasEntries_HoldsThem) {
    std::filesystem::create_directory(m_folder.path() / "bin");
    const std::string journalctl = m_folder.write("bin/journalctl", "#!/bin/sh\necho \"entries: $*\"\n");
    std::filesystem::permissions(journalctl, std::filesystem::perms::owner_all);
    const std::string bundle = m_folder.path() / "bundle.tar.gz";
    Process::Setup setup = command({"doctor", "--quick", "--port", "/dev/none", "--bundle", bundle});
    setup.environment["PATH"] = (m_folder.path() / "bin").string() + ":/usr/bin:/bin";
    Process doctor(setup);
    EXPECT_EQ(doctor.wait(), 1) << doctor.errors();
    Process entries({.command = {"/bin/tar", "-xOf", bundle, "cvhost-doctor/journal.txt"}});
    ASSERT_EQ(entries.wait(), 0) << entries.errors();
    ASSERT_EQ(entries.lines().size(), 1u);
    EXPECT_THAT(entries.lines().front(), HasSubstr("entries: --user --identifier=cvhost"));
}

TEST_F(Service, AnyConsole_OtherAdaptersThere_OnlyTheNamedOneIsOpened) {
    Process desk(ptyDesk());
    whereIs(desk);
    Process host(withTwoDesks(service({"--port", "corvane", "--events", "json"})));
    m_notified.waitFor([](const std::string& each) {
        return each.starts_with("STATUS=waiting for ") && each.ends_with(" on an adapter named Corvane");
    });
    waitFor(host, {{"event", "port"}, {"name", "corvane"}, {"state", "open"}});
    waitFor(host, {{"event", "active"}});
    EXPECT_EQ(end(host), 0) << host.errors();
    EXPECT_THAT(host.errors(), HasSubstr("Looking for console on port corvane"));
    EXPECT_THAT(host.errors(), Not(HasSubstr("USB0")));
}

TEST_F(Service, AnyConsole_BothServedByName_NoneIsOpened) {
    Process desk(ptyDesk());
    whereIs(desk);
    for (const char* port : {"pci-0000:00:14.0-usb-0:2:1.0-port0", "pci-0000:00:14.0-usbv2-0:3:1.0-port0"})
        std::filesystem::create_directories(m_folder.path() / "cvhost" / port);
    Process host(withTwoDesks(service({"--port", "corvane"})));
    const std::string advice =
        host.waitForLine([](const std::string& line) { return line.find("no console yet") != line.npos; });
    EXPECT_THAT(advice, HasSubstr("there is no adapter named Corvane"));
    std::filesystem::remove(m_folder.path() / "cvhost/pci-0000:00:14.0-usbv2-0:3:1.0-port0");
    m_notified.waitFor("STATUS=active, version 7");
    EXPECT_EQ(end(host), 0) << host.errors();
}

}  // namespace
}  // namespace apps_test
