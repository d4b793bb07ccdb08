// `cvhost ctl` and `cvhost status`.
#include <gmock/gmock.h>

#include "tests/apps/ControlRig.h"

namespace apps_test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;

class CvhostCtl : public ControlTest {};

TEST_F(CvhostCtl, EachCommand_Given_IsDoneAndSeen) {
    const Process::Setup setup = onDesk();
    Process host(setup);
    waitUntilStarted(host);
    const auto run = [&](const Arguments& arguments) {
        Process process(ctl(setup, arguments));
        EXPECT_EQ(process.wait(), 0) << process.errors();
        EXPECT_THAT(process.errors(), IsEmpty());
        return process.lines();
    };
    Process watcher(ctl(setup, {"watch"}));
    watcher.waitForLine([](const std::string& line) { return Json::parse(line).at("event") == "status"; });
    EXPECT_THAT(run({"lamp", "5", "on"}), IsEmpty());
    EXPECT_TRUE(lit(5, 'F'));
    run({"wheel", "on"});
    EXPECT_TRUE(becomes(*m_desk, [](const desk::Desk& desk) { return desk.wheelOn(); }));
    run({"speed", "-1024"});
    EXPECT_TRUE(lit(3, 'F') && lit(2, 'O'));
    EXPECT_TRUE(lit(5, 'F')) << "it stays";
    EXPECT_THAT(run({"status"}),
                AllOf(Contains("console   active, version 7"), Contains("lamps     3 on, 4 on, 5 on"),
                      Contains("wheel     on"), Contains("keys      none"), Contains(HasSubstr("playhead  00:05:00:00"))));
    EXPECT_EQ(Json::parse(run({"status", "--json"}).at(0)).at("event"), "status");
    m_desk->operate([](desk::Desk& desk, desk::Time now) { desk.tap('E', now); });
    watcher.waitForLine([](const std::string& line) { return Json::parse(line).at("event") == "released"; });

    Process refused(ctl(setup, {"press", "E"}));
    EXPECT_EQ(refused.wait(), 1);
    EXPECT_EQ(refused.errors(), "cvhost: this console is a real one: its keys are pressed by hand.\n");
    finish(host);
    EXPECT_EQ(watcher.wait(), 0) << "the end of what it watched";
    Process none(ctl(setup, {"status"}));
    EXPECT_EQ(none.wait(), 1);
    EXPECT_THAT(none.errors(), HasSubstr("no cvhost listens at " + m_socket.string()));
}

TEST_F(CvhostCtl, Watch_ThatDoesNotRead_SaysThatItWasDisconnected) {
    const Process::Setup setup = setUp({"--desk", "--set", "console_debug=1"});
    Process host(setup);
    const auto control = client();
    Process watcher(ctl(setup, {"watch"}));
    watcher.waitForLine([](const std::string& line) { return Json::parse(line).at("event") == "status"; });
    watcher.signal(SIGSTOP);
    const Json status{{"do", "status"}};
    while (control->ask(status).at("clients") == 2) {
        control->ask(press("E"));
        control->ask(release("E"));
    }
    watcher.signal(SIGCONT);
    EXPECT_EQ(watcher.wait(), 1);
    EXPECT_THAT(watcher.errors(), HasSubstr("cvhost has disconnected this client, which did not read fast enough"));
    finish(host);
}

TEST_F(CvhostCtl, Press_OnASimulatedConsole_WorksIt) {
    const Process::Setup setup = setUp({"--desk"});
    Process host(setup);
    client();
    Process press(ctl(setup, {"press", "E"}));
    EXPECT_EQ(press.wait(), 0) << press.errors();
    waitForAll(host, {{{"event", "key"}, {"code", 5}}, {{"event", "released"}, {"code", 5}}});
    finish(host);
}

TEST_F(CvhostCtl, Status_OfARun_IsWhatCtlPrints) {
    const Process::Setup setup = setUp({"--desk"});
    Process host(setup);
    client();
    for (const Arguments& json : {Arguments{}, Arguments{"--json"}}) {
        Arguments words{"status"};
        words.insert(words.end(), json.begin(), json.end());
        Process longer(ctl(setup, words));
        ASSERT_EQ(longer.wait(), 0) << longer.errors();
        Process::Setup shorter = ctl(setup, words);
        shorter.command.erase(shorter.command.begin() + 1);
        Process status(shorter);
        ASSERT_EQ(status.wait(), 0) << status.errors();
        ASSERT_FALSE(status.lines().empty());
        EXPECT_EQ(status.lines().size(), longer.lines().size());
        EXPECT_EQ(status.lines().front().substr(0, 9), longer.lines().front().substr(0, 9));
    }
    finish(host);
}

TEST_F(CvhostCtl, Status_WithoutRuntimeFolder_SaysSo) {
    Process::Setup setup = setUp({});
    setup.environment["XDG_RUNTIME_DIR"] = "";
    Process status(ctl(setup, {"status"}));
    EXPECT_EQ(status.wait(), 1);
    EXPECT_THAT(status.errors(), HasSubstr("name it with --socket"));
}

}  // namespace
}  // namespace apps_test
