// The control socket of a real cvhost.
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/apps/ControlRig.h"

namespace apps_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class CvhostControl : public ControlTest {};

TEST_F(CvhostControl, Client_Connected_GetsGreetingStateAndTheEventsOfTheReport) {
    Process host(setUp({"--desk"}));
    ControlClient first(m_socket);
    const Json hello = Json::parse(first.next());
    EXPECT_EQ(hello.at("event"), "hello");
    EXPECT_EQ(hello.at("protocol"), 1);
    EXPECT_EQ(hello.at("pid"), host.id());
    const Json status = Json::parse(first.next());
    EXPECT_EQ(status.at("event"), "status");
    EXPECT_EQ(status.at("simulated"), true);
    EXPECT_EQ(status.at("playhead").at("frame"), 7500);
    EXPECT_EQ(status.at("lamp_owner"), nullptr);

    const auto second = client();
    const Json known = second->ask({{"do", "status"}});
    EXPECT_EQ(known.at("link"), "active");
    EXPECT_EQ(known.at("version"), 7);
    EXPECT_THAT(known.at("port").get<std::string>(), StartsWith("rfc2217://"));
    EXPECT_EQ(known.at("clients"), 2);
    const std::string line = [&] {
        EXPECT_EQ(second->ask(press("E")).at("event"), "done");
        return first.waitFor({{"event", "key"}}).dump();
    }();
    Json printed = waitFor(host, {{"event", "key"}});
    Json sent = Json::parse(line);
    for (Json* event : {&printed, &sent}) event->erase("t");
    EXPECT_EQ(sent, printed);
    EXPECT_EQ(second->ask({{"do", "status"}}).at("held"), Json({5}));
    struct stat folder{};
    ASSERT_EQ(::stat(m_socket.parent_path().c_str(), &folder), 0);
    EXPECT_EQ(folder.st_mode & ALLPERMS, 0700U);
    finish(host);
    first.waitForEnd();
    EXPECT_FALSE(std::filesystem::exists(m_socket));
}

TEST_F(CvhostControl, Key_PressedAndReleased_IsReportedSo) {
    Process host(setUp({"--desk"}));
    const auto control = client();
    const std::vector<std::pair<std::string, int>> keys{{"E", 5}, {"g", 31}, {"h", 39}, {"_", 40}, {"\\", 28}, {"@", 0}};
    for (const auto& [key, code] : keys) {
        control->ask(press(key));
        EXPECT_EQ(control->waitFor({{"event", "key"}}).at("code"), code);
        control->ask(press("A"));  // proves that no release came before
        EXPECT_EQ(
            control->waitFor([](const Json& event) { return event.at("event") == "key" || event.at("event") == "released"; })
                .at("code"),
            1);
        control->ask(release(key));
        EXPECT_EQ(control->waitFor({{"event", "released"}}).at("code"), code);
        control->ask(release("A"));
        EXPECT_EQ(control->waitFor({{"event", "released"}}).at("code"), 1);
    }
    finish(host);
    EXPECT_EQ(events(host, {{"event", "released"}}).size(), 2 * keys.size()) << "in the report, too";
}

TEST_F(CvhostControl, Keys_HeldByAClientThatHasGone_AreReleasedUnlessAnotherHoldsThem) {
    Process host(setUp({"--desk"}));
    auto leaver = client();
    const auto other = client();
    for (const char* key : {"A", "E", "F"}) leaver->ask(press(key));
    leaver->ask(release("F"));
    for (const Json& command : {release("A"), press("A"), press("F")}) EXPECT_EQ(other->ask(command).at("event"), "done");
    other->waitFor({{"event", "key"}, {"code", 6}});
    other->waitFor({{"event", "key"}, {"code", 6}});
    leaver->close();
    EXPECT_EQ(other->waitFor({{"event", "released"}}).at("code"), 5);
    EXPECT_EQ(other->ask({{"do", "status"}}).at("held"), Json({1, 6}));
    finish(host);
}

TEST_F(CvhostControl, Key_PressedAgainWhileHeld_IsReleasedBetween) {
    Process host(setUp({"--desk"}));
    const auto control = client();
    for (int i = 0; i < 2; ++i) EXPECT_EQ(control->ask(press("E")).at("event"), "done");
    EXPECT_EQ(control->ask(release("E")).at("event"), "done");
    for (const char* event : {"key", "released", "key", "released"}) {
        const Json next =
            control->waitFor([](const Json& each) { return each.contains("code") && each.at("event") != "handler"; });
        EXPECT_EQ(next.at("event"), event);
    }
    finish(host);
}

TEST_F(CvhostControl, Keys_FasterThanTheLine_AreRefusedOrReleased) {
    Process host(setUp({"--desk"}));
    const auto flooder = client();
    int taken = 0;
    for (int i = 0; i < 2000; ++i) {
        const Json answer = flooder->ask(press("E"));
        if (answer.at("event") == "done")
            ++taken;
        else
            EXPECT_THAT(answer.at("text"), HasSubstr("more to send than its line carries"));
        EXPECT_EQ(flooder->ask(release("E")).at("event"), "done");
    }
    EXPECT_LT(taken, 2000);
    while (flooder->ask(press("F")).at("event") != "done") std::this_thread::sleep_for(std::chrono::milliseconds(10));
    flooder->ask(release("F"));
    flooder->waitFor({{"event", "released"}, {"code", 6}});
    EXPECT_EQ(flooder->ask({{"do", "status"}}).at("held"), Json::array());
    finish(host);
}

TEST_F(CvhostControl, Wheel_ThatSwitchesItselfOn_TapsTheJogKey) {
    Process host(onDesk());
    waitUntilStarted(host);
    const auto control = client();
    control->ask({{"do", "subscribe"}, {"events", {"key", "released", "handler"}}});
    m_desk->operate([](desk::Desk& desk, desk::Time now) { desk.jog(9, 0, now); });
    EXPECT_EQ(control->waitFor({{"event", "key"}}).at("code"), 28);
    EXPECT_EQ(control->waitFor({{"event", "released"}}).at("code"), 28);
    EXPECT_EQ(control->ask({{"do", "status"}}).at("held"), Json::array());
    finish(host);
}

TEST_F(CvhostControl, Lamps_HaveOneOwner_AndFollowTheTransportAfterIt) {
    Process host(onDesk());
    waitUntilStarted(host);
    auto owner = client();
    const auto other = client();
    EXPECT_EQ(owner->ask(lamp(5, "on")).at("event"), "done");
    EXPECT_TRUE(lit(5, 'F'));
    EXPECT_EQ(owner->ask({{"do", "speed"}, {"speed", 1024}}).at("event"), "done");
    EXPECT_TRUE(lit(1, 'F') && lit(2, 'O'));
    EXPECT_EQ(other->ask({{"do", "status"}}).at("lamp_owner"), ::getpid());
    EXPECT_EQ(other->ask({{"do", "status"}}).at("lamps").get<std::string>().substr(0, 5), "FOOOF");
    const Json refused = other->ask(lamp(6, "on"));
    EXPECT_EQ(refused.at("event"), "error");
    EXPECT_THAT(refused.at("text"), HasSubstr("process " + std::to_string(::getpid()) + " owns the lamps"));
    EXPECT_EQ(owner->ask({{"do", "wheel"}, {"state", "on"}}).at("event"), "done");
    EXPECT_TRUE(becomes(*m_desk, [](const desk::Desk& desk) { return desk.wheelOn(); }));

    owner->close();
    EXPECT_TRUE(lit(5, 'O') && lit(1, 'O') && lit(2, 'F'));
    EXPECT_EQ(other->ask(lamp(6, "blinking")).at("event"), "done");
    EXPECT_TRUE(lit(6, 'B'));
    finish(host);
}

TEST_F(CvhostControl, Lamps_RefusedForLackOfAConsole_HaveNoOwner) {
    Process host(setUp({"--port", "/dev/no-such-port"}));
    ControlClient first(m_socket);
    first.waitFor({{"event", "status"}});
    ControlClient second(m_socket);
    second.waitFor({{"event", "status"}});
    for (ControlClient* client : {&first, &second, &first}) {
        EXPECT_THAT(client->ask(lamp(5, "on")).at("text"), HasSubstr("no console is active"));
        EXPECT_EQ(second.ask({{"do", "status"}}).at("lamp_owner"), nullptr);
    }
    host.signal(SIGTERM);
    host.wait();
}

TEST_F(CvhostControl, Lamps_SetBeforeTheConsoleWasLost_HaveTheirOwnerStill) {
    Process host(onDesk());
    waitUntilStarted(host);
    const auto owner = client();
    const auto other = client();
    EXPECT_EQ(owner->ask(lamp(5, "on")).at("event"), "done");
    m_desk.reset();
    while (owner->ask(lamp(6, "on")).at("event") == "done") {
    }
    EXPECT_EQ(other->ask({{"do", "status"}}).at("lamp_owner"), ::getpid());
    EXPECT_THAT(other->ask(lamp(6, "on")).at("text"), HasSubstr("owns the lamps"));
    finish(host);
}

TEST_F(CvhostControl, ClaimedKey_Pressed_IsHandledAndLeftAloneByTheTransport) {
    Process host(setUp({"--desk"}));
    auto claimant = client();
    const auto other = client();
    EXPECT_EQ(claimant->ask({{"do", "claim"}, {"codes", {11, 20}}}).at("event"), "done");
    EXPECT_THAT(other->ask({{"do", "claim"}, {"codes", {20, 21}}}).at("text"), HasSubstr("code 20 is claimed by process"));
    for (const char* key : {"T", "K"}) {
        claimant->ask(press(key));
        EXPECT_EQ(claimant->waitFor({{"event", "key"}}).at("handled"), true);
        claimant->ask(release(key));
    }
    const Json claimed = other->ask({{"do", "status"}});
    EXPECT_EQ(claimed.at("claims").size(), 2U);
    EXPECT_EQ(claimed.at("playhead").at("speed"), 0);
    EXPECT_EQ(claimed.at("playhead").at("frame"), 7500);
    claimant->close();
    while (!other->ask({{"do", "status"}}).at("claims").empty()) {
    }
    other->ask(press("K"));
    other->waitFor({{"event", "playhead"}, {"speed", 1024}});
    finish(host);
    EXPECT_THAT(events(host, {{"event", "handler"}, {"code", 11}}), testing::SizeIs(2));
}

TEST_F(CvhostControl, Reader_ThatStops_IsDisconnectedAndDelaysNobody) {
    Process host(setUp({"--desk"}));
    const auto reader = client();
    const auto stuck = client();
    EXPECT_EQ(stuck->ask({{"do", "subscribe"}, {"events", {"wire", "key", "released", "handler", "log"}}}).at("event"),
              "done");
    int presses = 0;
    while (reader->ask({{"do", "status"}}).at("clients") == 2) {
        for (int i = 0; i < 50; ++i, ++presses) {
            reader->ask(press("E"));
            reader->waitFor({{"event", "key"}, {"code", 5}});
            reader->ask(release("E"));
            reader->waitFor({{"event", "released"}, {"code", 5}});
        }
        // Its own answers fill its backlog faster than keys do.
        for (int i = 0; i < 500; ++i) stuck->sendBytes("{\"do\":\"status\"}\n");
    }
    finish(host);
    EXPECT_THAT(events(host, {{"event", "key"}}), testing::SizeIs(static_cast<std::size_t>(presses)));
}

TEST_F(CvhostControl, Clients_MoreThanTheLimit_AreTurnedAway) {
    Process host(setUp({"--desk"}));
    waitFor(host, {{"event", "active"}});
    std::vector<std::unique_ptr<ControlClient>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<ControlClient>(m_socket));
        clients.back()->waitFor({{"event", "status"}});
    }
    ControlClient tooMany(m_socket);
    EXPECT_THAT(Json::parse(tooMany.next()).at("text"), HasSubstr("64 clients are connected"));
    EXPECT_EQ(tooMany.next(), "");
    clients.front()->close();
    while (clients.at(1)->ask({{"do", "status"}}).at("clients") != 63) {
    }
    ControlClient next(m_socket);
    EXPECT_EQ(Json::parse(next.next()).at("event"), "hello");
    finish(host);
}

TEST_F(CvhostControl, HostileInput_GetsOneErrorALine_AndTheNextCommandWorks) {
    Process host(setUp({"--desk"}));
    const auto control = client();
    control->ask({{"do", "subscribe"}, {"events", Json::array()}});
    const auto error = [&](const std::string& bytes) {
        control->sendBytes(bytes);
        return Json::parse(control->next()).at("text").get<std::string>();
    };
    EXPECT_THAT(error(std::string(5000, 'x')), HasSubstr("longer than 4096 bytes"));
    EXPECT_THAT(error(std::string(100'000, 'x') + "\nlamp\n"), HasSubstr("not JSON"));
    EXPECT_THAT(error(std::string(4096, '[') + '\n'), HasSubstr("nested too deep"));
    EXPECT_THAT(error(std::string("\0\n", 2)), HasSubstr("not JSON"));
    EXPECT_THAT(error("{\"do\":\"stats\"}\n"), HasSubstr("(did you mean \"status\"?)"));
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        std::string bytes(1 + random() % 512, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        control->sendBytes(bytes + '\n');
        control->sendBytes("{\"do\":\"status\"}\n");
        control->waitFor({{"event", "status"}});
    }
    finish(host);
    EXPECT_THAT(host.errors(), testing::Not(HasSubstr("cvhost: ")));
}

TEST_F(CvhostControl, Commands_OfAClientThatHasClosedAtOnce_AreDone) {
    Process host(onDesk());
    waitUntilStarted(host);
    const auto watcher = client();
    {
        ControlClient brief(m_socket);
        brief.sendBytes(R"({"do":"lamp","lamp":7,"state":"on","keep":true})"
                        "\n"
                        R"({"do":"lamp","lamp":8,"state":"half","keep":true})"
                        "\n");
    }
    EXPECT_TRUE(lit(7, 'F') && lit(8, 'H'));
    finish(host);
}

TEST_F(CvhostControl, Socket_OfAKilledProcess_IsReplacedAndALiveOneIsNot) {
    auto first = std::make_unique<Process>(setUp({"--desk"}));
    client();
    first->signal(SIGKILL);
    first->wait();
    EXPECT_TRUE(std::filesystem::exists(m_socket));
    Process second(setUp({"--desk"}));
    EXPECT_EQ(Json::parse(ControlClient(m_socket).next()).at("pid"), second.id());

    Process third(setUp({"--desk"}));
    waitFor(third, {{"event", "active"}});
    EXPECT_EQ(Json::parse(ControlClient(m_socket).next()).at("pid"), second.id());
    finish(third);
    EXPECT_THAT(third.errors(), StartsWith("cvhost: no control socket: process " + std::to_string(second.id()) + " has " +
                                           m_socket.string() + "; name another path with --control.\n"));
    EXPECT_TRUE(std::filesystem::exists(m_socket)) << "it is the second one's";

    const std::string other = m_folder.path() / "other";
    Process fourth(setUp({"--desk", "--control", other}));
    EXPECT_EQ(Json::parse(ControlClient(other).next()).at("pid"), fourth.id());
    waitFor(fourth, {{"event", "active"}});
    finish(fourth);
    waitFor(second, {{"event", "active"}});
    finish(second);
    EXPECT_FALSE(std::filesystem::exists(m_socket));
}

TEST_F(CvhostControl, Path_ThatCannotBe_IsNamedAndGoneWithout) {
    const std::string file = m_folder.write("file", "text");
    const std::string deep = m_folder.path() / std::string(100, 'x') / "control";
    for (const std::string& path : {file, deep, std::string(m_folder.path() / "none" / "control")}) {
        Process host(setUp({"--desk", "--control", path}));
        waitFor(host, {{"event", "active"}});
        finish(host);
        EXPECT_THAT(host.errors(), StartsWith("cvhost: no control socket at " + path + ": "));
    }
    EXPECT_EQ(std::filesystem::file_size(file), 4U);
    Process host(setUp({"--desk", "--control", "off"}));
    waitFor(host, {{"event", "active"}});
    finish(host);
    EXPECT_THAT(host.errors(), testing::Not(HasSubstr("cvhost: ")));
    EXPECT_FALSE(std::filesystem::exists(m_socket));
}

TEST_F(CvhostControl, OtherUser_Connecting_IsRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    const std::string folder = "/tmp/cvhost-control-" + std::to_string(::getpid());
    std::filesystem::create_directory(folder);
    const std::string path = folder + "/control";
    Process host(setUp({"--desk", "--control", path}));
    ControlClient own(path);
    own.waitFor({{"event", "active"}});
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    Process::Setup other = setUp({});
    other.command = {"/usr/bin/setpriv",
                     "--reuid=65534",
                     "--regid=65534",
                     "--clear-groups",
                     "/usr/bin/python3",
                     "-c",
                     "import socket, sys\ns = socket.socket(socket.AF_UNIX)\ns.connect(sys.argv[1])\n"
                     "print(s.makefile().read(), end='')\n",
                     path};
    Process stranger(other);
    EXPECT_EQ(stranger.wait(), 0) << stranger.errors();
    ASSERT_THAT(stranger.lines(), testing::SizeIs(1));
    EXPECT_THAT(Json::parse(stranger.lines().front()).at("text"), "this socket serves user 0 alone");
    finish(host);
    std::filesystem::remove_all(folder);
}

TEST_F(CvhostControl, PythonClient_OfThePage_FollowsAKey) {
    std::ifstream page(CONTROL_PAGE);
    std::stringstream text;
    text << page.rdbuf();
    const std::string head = "```python\n";
    const std::size_t begin = text.str().find(head);
    ASSERT_NE(begin, std::string::npos);
    const std::string source =
        text.str().substr(begin + head.size(), text.str().find("```", begin + 3) - begin - head.size());
    const Process::Setup setup = onDesk();
    Process host(setup);
    waitUntilStarted(host);
    Process::Setup python = setup;
    python.command = {"/usr/bin/env", "python3", "-c", source};
    Process ours(python);
    ours.waitForLine([](const std::string& line) { return line.find("'done'") != line.npos; });
    m_desk->operate([](desk::Desk& desk, desk::Time now) { desk.press('E', now); });
    EXPECT_TRUE(lit(5, 'F'));
    m_desk->operate([](desk::Desk& desk, desk::Time now) { desk.release('E', now); });
    EXPECT_TRUE(lit(5, 'O'));
    finish(host);
    EXPECT_EQ(ours.wait(), 0) << ours.errors();
}

}  // namespace
}  // namespace apps_test
