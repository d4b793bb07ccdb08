// Our own hosts keep every promise, and the results come in every form.
#include <gmock/gmock.h>

#include <deque>
#include <fstream>
#include <sstream>

#include "lines/MachineServer.h"
#include "lines/Pty.h"
#include "tests/hostcheck/HostCheckRig.h"

namespace hostcheck_test {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

std::set<std::string> idsOf(const std::map<std::string, std::string>& results) {
    std::set<std::string> ids;
    for (const auto& [id, result] : results) ids.insert(id);
    return ids;
}

TEST_F(HostCheckTest, CheckHost_LevelThree_EveryPromiseKept) {
    const CheckRun run = check({"--level", "3"});
    EXPECT_EQ(run.status, 0) << run.describe();
    EXPECT_EQ(idsOf(run.results()), idsUpTo(3));
    EXPECT_THAT(run.results(), Each(Pair(testing::_, "pass"))) << run.describe();
}

TEST_F(HostCheckTest, CheckHost_LevelOne_TriesLevelOneAlone) {
    const CheckRun run = check({"--level", "1"});
    EXPECT_EQ(run.status, 0) << run.describe();
    EXPECT_EQ(idsOf(run.results()), idsUpTo(1));
}

TEST_F(HostCheckTest, CheckHost_OnPseudoTerminal_AllButRtsKept) {
    const std::string link = m_folder.path() / "line";
    apps_test::Process desk(cvdesk({"--check", "--pty", link}));
    whereIs(desk);
    const CheckRun run = check({"--level", "3", "--port", link});
    EXPECT_EQ(run.status, 0) << run.describe();
    for (const auto& [id, result] : run.results()) {
        const bool needsRts = id == "serial-rts" || id == "serial-rts-after-data" || id == "serial-data-after-rts";
        EXPECT_EQ(result, needsRts ? "not tried" : "pass") << id << '\n' << run.describe();
    }
}

/// A plug that connects a port's output with its input.
class LoopbackPlug final : public desk::Machine {
public:
    void receive(unsigned char byte, desk::Time now) override { m_bytes.push_back({now, byte}); }
    void setRts(bool, desk::Time) override {}
    std::optional<desk::TimedByte> takeOutput(desk::Time) override {
        if (m_bytes.empty()) return std::nullopt;
        const desk::TimedByte byte = m_bytes.front();
        m_bytes.pop_front();
        return byte;
    }
    std::optional<desk::Time> nextEvent() const override {
        return m_bytes.empty() ? std::nullopt : std::optional(m_bytes.front().at);
    }
    bool unpaced() const override { return true; }

private:
    std::deque<desk::TimedByte> m_bytes;
};

TEST_F(HostCheckTest, CheckHost_OnLoopbackPlug_TriesWhatNeedsNoDesk) {
    const lines::MachineServer plug(std::make_unique<LoopbackPlug>(), std::make_unique<lines::Pty>(m_folder.path() / "line"),
                                    nullptr);
    const CheckRun run = check({"--level", "3", "--port", plug.name()});
    const std::set<std::string> needDesk{"serial-settings", "serial-rts",  "serial-rts-after-data", "serial-data-after-rts",
                                         "serial-flood",    "serial-lost", "serial-writers"};
    EXPECT_EQ(run.status, 0) << run.describe();
    EXPECT_EQ(idsOf(run.results()), idsUpTo(3));
    for (const auto& [id, result] : run.results()) {
        EXPECT_EQ(result, needDesk.contains(id) ? "not tried" : "pass") << id << '\n' << run.describe();
    }
}

TEST_F(HostCheckTest, CheckHost_NothingOnTheLine_SaysWhyNotTried) {
    const CheckRun run = check({"--only", "serial-bytes-in", "--port", m_folder.path() / "nothing"});
    EXPECT_EQ(run.results(), (std::map<std::string, std::string>{{"serial-bytes-in", "not tried"}}));
    EXPECT_THAT(run.printed, HasSubstr("cannot be opened"));
    EXPECT_EQ(run.status, 1) << "nothing was checked";
}

TEST_F(HostCheckTest, CheckHost_Only_TriesThese) {
    const CheckRun run = check({"--only", "log-long,serial-flood", "--seed", "17"});
    EXPECT_EQ(run.results(), (std::map<std::string, std::string>{{"log-long", "pass"}, {"serial-flood", "pass"}}));
    EXPECT_THAT(run.printed, HasSubstr("seed 17"));
}

TEST_F(HostCheckTest, CheckHost_OnlyWithAnUnknownId_IsRefused) {
    for (const char* ids : {"log-lomg", "serial-rts,log-lomg", "log-long, serial-rts", ","}) {
        const CheckRun run = check({"--only", ids});
        EXPECT_EQ(run.status, 2) << ids;
        EXPECT_THAT(run.printed, HasSubstr("there is no promise")) << ids;
    }
    EXPECT_THAT(check({"--only", "log-lomg"}).printed, HasSubstr("did you mean \"log-long\"?"));
}

TEST_F(HostCheckTest, CheckHost_OneFileForBothReports_IsRefused) {
    const CheckRun run = check({"--only", "log-long", "--junit", m_folder.path() / "." / "results.json"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.printed, HasSubstr("--json and --junit name one file"));
}

TEST_F(HostCheckTest, CheckHost_OutputCannotBeWritten_Fails) {
    apps_test::Process::Setup setup = cvhost({});
    setup.command = {"/bin/sh", "-c", "exec \"$@\" >/dev/full", "sh", setup.command.front(), "check-host", "--list"};
    EXPECT_EQ(apps_test::Process(setup).wait(), 1);
}

TEST_F(HostCheckTest, CheckHost_NoTemporaryFolder_SaysSo) {
    apps_test::Process::Setup setup = cvhost({});
    setup.command = {setup.command.front(), "check-host", "--only", "log-long"};
    setup.environment["TMPDIR"] = m_folder.path() / "no";
    apps_test::Process process(setup);
    EXPECT_EQ(process.wait(), 1);
    EXPECT_THAT(process.errors(), HasSubstr("TMPDIR names no folder; set it to one that is there"));
}

TEST_F(HostCheckTest, CheckHost_List_NamesEveryPromiseAndTriesNone) {
    const CheckRun run = check({"--list", "--level", "3"});
    EXPECT_EQ(run.status, 0);
    for (const std::string& id : idsUpTo(3)) EXPECT_THAT(run.printed, HasSubstr(' ' + id + ": "));
    std::istringstream lines(run.printed);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(line.starts_with("list ") || line.find("level 3, seed") != line.npos) << line;
    }
}

TEST_F(HostCheckTest, CheckHost_Junit_HasACaseForEachPromise) {
    const std::string file = m_folder.path() / "results.xml";
    check({"--level", "1", "--junit", file});
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    for (const std::string& id : idsUpTo(1)) EXPECT_THAT(text.str(), HasSubstr("name=\"" + id + "\""));
    EXPECT_THAT(text.str(), HasSubstr("failures=\"0\" errors=\"0\""));
}

/// A folder in which no file `name` can be written, not by root either.
void blockFile(const std::filesystem::path& folder, const std::string& name) {
    std::filesystem::create_directory(folder / (name + ".new"));
}

TEST_F(HostCheckTest, CheckHost_JunitInNoFolder_SaysSoBeforeTheChecks) {
    const CheckRun run = check({"--level", "1", "--junit", m_folder.path() / "no" / "results.xml"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.printed, HasSubstr("no/results.xml: No such file or directory; name a file"));
    EXPECT_THAT(run.results(), IsEmpty());
}

TEST_F(HostCheckTest, CheckHost_JsonCannotBeWritten_OldResultsAreNotTaken) {
    check({"--only", "log-long"});
    blockFile(m_folder.path(), "results.json");
    const CheckRun run = check({"--only", "log-long"});
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.printed, HasSubstr("results.json: Is a directory; name a file"));
    EXPECT_THAT(run.printed, testing::Not(HasSubstr("CorvaneHostCheck.so")));
}

TEST_F(HostCheckTest, CheckHost_NothingTried_OldResultsAreGone) {
    const std::string junit = m_folder.write("results.xml", "old");
    m_folder.write("results.json", "{\"results\": []}");
    const CheckRun run = check({"--junit", junit, "--plugin", m_folder.path() / "no.so"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.json.is_discarded());
    EXPECT_TRUE(std::filesystem::is_empty(junit));
}

TEST_F(HostCheckTest, CheckHost_List_LeavesTheFilesAlone) {
    const std::string junit = m_folder.write("results.xml", "old");
    EXPECT_EQ(check({"--list", "--junit", junit}).status, 0);
    EXPECT_FALSE(std::filesystem::is_empty(junit));
}

TEST_F(HostCheckTest, CheckHost_FileGrowsPastTheLimit_SaysThatResultsAreMissing) {
    apps_test::Process::Setup setup = cvhost({});
    setup.command = {"/bin/sh", "-c", "ulimit -f 2; exec \"$@\"", "sh", setup.command.front(), "check-host", "--level", "1"};
    apps_test::Process host(setup);
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.lines(), testing::Contains(HasSubstr("File too large")).Times(1));
    EXPECT_THAT(host.errors(), HasSubstr("left no results: it could not write them"));
}

TEST_F(HostCheckTest, CheckHost_ManyLoadsOfAnotherPlugin_EndsWithTheFirst) {
    const CheckRun run =
        check({"--level", "3", "--plugin", std::filesystem::path(CVHOST_PROGRAM).parent_path() / "CorvaneConsole.so"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.printed, HasSubstr("is not active at once; is it CorvaneHostCheck.so"));
}

TEST_F(HostCheckTest, CheckHost_AnotherPlugin_SaysThatItIsNotTheCheck) {
    const CheckRun run = check({"--plugin", std::filesystem::path(CVHOST_PROGRAM).parent_path() / "CorvaneConsole.so"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.printed, HasSubstr("no results"));
}

}  // namespace
}  // namespace hostcheck_test
