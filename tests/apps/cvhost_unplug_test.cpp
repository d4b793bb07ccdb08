// cvhost and a console that is unplugged, switched off, killed, and comes back.

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "lines/DeskServer.h"
#include "lines/FaultyLine.h"
#include "lines/Pty.h"
#include "lines/Rfc2217Server.h"
#include "tests/apps/CvhostRig.h"
#include "tests/apps/OwnPort.h"

namespace apps_test {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

/// A line that can be pulled out and put in again under its own name, in one go.
class PluggedLine final : public lines::Line {
public:
    using Plug = std::function<std::unique_ptr<lines::Line>()>;

    explicit PluggedLine(Plug plug) : m_plug(std::move(plug)), m_line(m_plug()), m_name(m_line->name()) {}

    /// Takes effect when the line's server is next woken.
    void replug() { m_replug = true; }

    const std::string& name() const override { return m_name; }
    void watchFor(std::vector<pollfd>& waits) const override { m_line->watchFor(waits); }
    void service(desk::Machine& desk, desk::Time now) override {
        if (m_replug.exchange(false)) {
            const std::lock_guard lock(Process::starting());
            m_line.reset();
            desk.setRts(true, now);
            m_line = m_plug();
        }
        m_line->service(desk, now);
    }
    void send(std::span<const unsigned char> bytes, desk::Time now) override { m_line->send(bytes, now); }

private:
    const Plug m_plug;
    std::unique_ptr<lines::Line> m_line;
    const std::string m_name;
    std::atomic<bool> m_replug = false;
};

enum class Kind { network, pty };
void PrintTo(Kind kind, std::ostream* out) { *out << (kind == Kind::pty ? "pty" : "network"); }

/// A desk in this process whose line can be pulled out.
class PluggedDesk {
public:
    PluggedDesk(Kind kind, const desk::Options& options, const std::string& link) {
        auto line = std::make_unique<PluggedLine>(kind == Kind::pty ? ptyAt(link) : networkPort());
        m_line = line.get();
        m_server = std::make_unique<lines::DeskServer>(options, std::move(line));
    }

    const std::string& name() const { return m_server->name(); }
    void operate(const std::function<void(desk::Desk&, desk::Time)>& action) { m_server->operate(action); }
    void replug() {
        m_line->replug();
        operate([](desk::Desk&, desk::Time) {});
    }

    bool becomes(const DeskState& wanted) { return apps_test::becomes(*m_server, wanted); }

private:
    static PluggedLine::Plug ptyAt(const std::string& link) {
        return [link] { return std::make_unique<lines::Pty>(link); };
    }
    static PluggedLine::Plug networkPort() {
        return [port = ownPort()] { return std::make_unique<lines::Rfc2217Server>("127.0.0.1", port); };
    }

    PluggedLine* m_line;
    std::unique_ptr<lines::DeskServer> m_server;
};

std::ptrdiff_t countOf(const std::vector<std::string>& lines, const char* text) {
    return std::ranges::count_if(lines, [=](const std::string& line) { return line.find(text) != line.npos; });
}

const Json active{{"event", "active"}};
const Json lost{{"event", "port"}, {"state", "lost"}};
const Json stopped{{"event", "handler"}, {"code", 0}, {"ispeed", 0}};
const Json lastCommand{{"event", "wire"}, {"dir", "tx"}, {"bytes", "X "}};

class CvhostUnplug : public CvhostTest {
protected:
    std::unique_ptr<PluggedDesk> plug(Kind kind, const desk::Options& options = {}) const {
        return std::make_unique<PluggedDesk>(kind, options, m_folder.path() / "desk");
    }
    Process::Setup hostOn(const std::string& port) const { return cvhost({"--events", "json", "--wire", "--port", port}); }

    /// Key E held, the shuttle ring turned, the wheel on with its lamp.
    static void work(Process& host, PluggedDesk& desk) {
        desk.operate([](desk::Desk& machine, desk::Time now) {
            machine.shuttle(200, now);
            machine.tap('\\', now);
            machine.press('E', now);
        });
        waitForAll(host, {{{"event", "handler"}, {"code", 0}, {"ispeed", 1495}}, {{"event", "key"}, {"code", 5}}});
        EXPECT_TRUE(desk.becomes(wheelIsOn));
    }
    static bool wheelIsOn(const desk::Desk& desk) { return desk.active() && desk.wheelOn() && desk.lamp(4) == 'F'; }
};

class CvhostUnplugByLine : public CvhostUnplug, public testing::WithParamInterface<Kind> {};

TEST_P(CvhostUnplugByLine, Lost_InTheMiddleOfWork_ReleasesAndStopsAndSetsAgain) {
    const auto desk = plug(GetParam());
    Process host(hostOn(desk->name()));
    waitForAll(host, {active, lastCommand});
    work(host, *desk);

    desk->replug();
    waitForAll(
        host,
        {lost, {{"event", "released"}, {"code", 5}}, stopped, {{"event", "port"}, {"state", "open"}}, active, lastCommand});
    EXPECT_TRUE(desk->becomes(wheelIsOn));

    desk->replug();
    waitForAll(host, {lost, active, lost, active});
    EXPECT_TRUE(desk->becomes(wheelIsOn));
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_THAT(events(host, {{"event", "released"}, {"code", 5}}), SizeIs(1)) << "what was released is not held any more";
}

TEST_P(CvhostUnplugByLine, PowerCycle_InTheMiddleOfWork_ReleasesAndStopsAndSetsAgain) {
    const auto desk = plug(GetParam());
    Process host(hostOn(desk->name()));
    waitForAll(host, {active, lastCommand});
    work(host, *desk);

    desk->operate([](desk::Desk& machine, desk::Time now) { machine.powerCycle(now); });
    waitForAll(
        host, {active, lost, {{"event", "released"}, {"code", 5}}, stopped, {{"event", "port"}, {"state", "open"}}, active});
    EXPECT_TRUE(desk->becomes(wheelIsOn));
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_THAT(events(host, lost), SizeIs(1));
}

TEST_P(CvhostUnplugByLine, Lost_BeforeAnyConsoleAnswered_IsLookedForAgain) {
    const auto desk = plug(GetParam(), {.silent = true});
    Process host(hostOn(desk->name()));
    waitFor(host, {{"event", "port"}, {"state", "open"}});
    desk->replug();
    waitForAll(host, {lost, {{"event", "port"}, {"state", "open"}}});
    EXPECT_THAT(events(host, {{"event", "released"}}), IsEmpty());
}

TEST_P(CvhostUnplugByLine, KilledDesk_StartedAgain_IsActiveAgain) {
    const bool pty = GetParam() == Kind::pty;
    const std::string link = m_folder.path() / "desk";
    const Arguments line = pty ? Arguments{"--pty", link} : Arguments{"--rfc2217", std::to_string(ownPort())};
    auto desk = std::make_unique<Process>(cvdesk(line));
    const std::string name = whereIs(*desk);
    Process host(hostOn(name));
    waitFor(host, active);

    desk->signal(SIGKILL);
    EXPECT_EQ(desk->wait(), 128 + SIGKILL);
    waitFor(host, lost);
    desk = std::make_unique<Process>(cvdesk(line));
    waitForAll(host, {lost, active});
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

std::string nameOf(const testing::TestParamInfo<Kind>& line) { return line.param == Kind::pty ? "pty" : "network"; }

INSTANTIATE_TEST_SUITE_P(Lines, CvhostUnplugByLine, testing::Values(Kind::network, Kind::pty), nameOf);

// A pseudo-terminal's name goes before its line does: the host cannot connect once more to a desk that is going.
TEST_F(CvhostUnplug, Text_LostAndBack_TellsEachOnce) {
    const std::string link = m_folder.path() / "desk";
    auto faulty = std::make_unique<lines::FaultyLine>([link] { return std::make_unique<lines::Pty>(link); });
    lines::FaultyLine& plug = *faulty;
    lines::DeskServer desk({}, std::move(faulty));
    const auto setPlugged = [&](bool plugged) {
        plug.setPlugged(plugged);
        desk.operate([](desk::Desk&, desk::Time) {});
    };
    Process host(cvhost({"--port", link}));
    const auto waitForText = [&](const std::string& text) {
        host.waitForLine([&](const std::string& line) { return line.find(text) != line.npos; });
    };
    waitForText("console version 7");
    setPlugged(false);
    waitForText("the driver looks for its console again");
    waitForText("no console yet");  // after three attempts, one a second
    setPlugged(true);
    int actives = 0;
    host.waitForLine(
        [&](const std::string& line) { return line.find("active   console version 7") != line.npos && ++actives == 2; });
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
    EXPECT_EQ(countOf(host.lines(), "Looking for console"), 2) << "at first, and after the loss";
}

/// What a process holds, as the system counts it.
struct Holdings {
    std::ptrdiff_t descriptors = 0;
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t writtenKb = 0;  ///< without pages of files, of which the kernel maps 64 kB at a time
};

Holdings holdingsOf(const Process& process) {
    const std::filesystem::path place = "/proc/" + std::to_string(process.id());
    Holdings found;
    for ([[maybe_unused]] const auto& descriptor : std::filesystem::directory_iterator(place / "fd")) ++found.descriptors;
    std::ifstream status(place / "status");
    for (std::string word; status >> word;) {
        if (word == "RssAnon:") status >> found.writtenKb;
        if (word == "Threads:") status >> found.threads;
    }
    return found;
}

/// Waits until the console has become active so many times.
void waitForActive(Process& host, int times) {
    host.waitForLine(
        [&](const std::string& line) { return line.find("\"event\":\"active\"") != line.npos && --times == 0; });
}

/// Takes the host's console away and brings it back until it was lost `rounds` times, always as soon as it is active, and
/// looks at what the host holds after a tenth of the rounds and after all of them.
void expectSteady(const Process::Setup& setup, int rounds, const std::function<void(Process& host)>& takeAway) {
    Process host(setup);
    waitForActive(host, 1);
    Holdings before;
    // Now and then the console answers just when the host gives up on it: then it is active twice, and lost once.
    std::ptrdiff_t losses = 0;
    for (int actives = 1; losses < rounds; ++actives) {
        takeAway(host);
        waitForActive(host, actives + 1);
        losses = countOf(host.lines(), "\"lost\"");
        if (losses <= rounds / 10) before = holdingsOf(host);
    }
    Holdings after = holdingsOf(host);
    // The thread that has started the console may be about to end.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while ((after.threads > before.threads || after.descriptors > before.descriptors) &&
           std::chrono::steady_clock::now() < deadline) {
        after = holdingsOf(host);
    }
    std::cout << rounds << " rounds: " << after.descriptors << " descriptors, " << after.threads << " threads, "
              << before.writtenKb << " kB, then " << after.writtenKb << " kB\n";
    EXPECT_LE(after.descriptors, before.descriptors);
    EXPECT_LE(after.threads, before.threads);
    // A sanitizer keeps what has been freed.
    if (!UNPLUG_SANITIZED) {
        EXPECT_LT(after.writtenKb, before.writtenKb + 64);
    }
    host.signal(SIGINT);
    EXPECT_EQ(host.wait(), 0) << host.errors();
}

/// Two hundred losses, shared by hosts that run side by side: most of the time they wait.
class CvhostUnplugOften : public CvhostUnplug {
protected:
    static constexpr int losses = UNPLUG_SANITIZED ? 10 : 200;

    /// Runs `each`, with the rounds it shall make and a name of its own, for every one of so many hosts.
    static void share(int hosts, const std::function<void(int rounds, const std::string& name)>& each) {
        if (UNPLUG_SANITIZED) hosts = 1;
        std::vector<std::future<void>> all;
        for (int i = 0; i < hosts; ++i) {
            all.push_back(std::async(std::launch::async, each, losses / hosts, "desk" + std::to_string(i)));
        }
        for (auto& host : all) host.get();
    }
    Process::Setup quietHostOn(const std::string& port) const { return cvhost({"--events", "json", "--port", port}); }
    void drop(Kind kind, int rounds, const std::string& name) const {
        PluggedDesk desk(kind, {.running = true, .unpaced = true}, m_folder.path() / name);
        expectSteady(quietHostOn(desk.name()), rounds, [&](Process&) { desk.replug(); });
    }
};

TEST_F(CvhostUnplugOften, NetworkConnection_Dropped_NothingLeaks) {
    share(4, [&](int rounds, const std::string& name) { drop(Kind::network, rounds, name); });
}

// A pty cannot reset the console, and the driver's start takes twice as long there.
TEST_F(CvhostUnplugOften, Pty_Closed_NothingLeaks) {
    share(8, [&](int rounds, const std::string& name) { drop(Kind::pty, rounds, name); });
}

TEST_F(CvhostUnplugOften, Desk_KilledAndAnotherStarted_NothingLeaks) {
    share(10, [&](int rounds, const std::string& name) {
        const std::string link = m_folder.path() / name;
        auto desk = std::make_unique<Process>(cvdesk({"--pty", link, "--unpaced"}));
        whereIs(*desk);
        expectSteady(quietHostOn(link), rounds, [&](Process&) {
            std::filesystem::remove(link);  // it may lead to another desk's terminal in a moment
            desk->signal(SIGKILL);
            desk->wait();
            desk = std::make_unique<Process>(cvdesk({"--pty", link, "--unpaced"}));
            whereIs(*desk);
        });
    });
}

}  // namespace
}  // namespace apps_test
