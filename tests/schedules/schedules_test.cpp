// Every schedule of the scripts passes, and each fault that is planted is found in one of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/explore/Ran.h"
#include "tests/schedules/ScriptNames.h"
#include "tests/unit/console/Canary.h"

namespace {

Ran schedules(const std::string& arguments) { return ran(SCHEDULES " " + arguments + " 2>&1"); }
Ran withFault(const std::string& arguments) { return ran(SCHEDULES_CANARY " --canary " + arguments + " 2>&1"); }

/// What follows `start` up to the end of its line; empty when there is none.
std::string after(const std::string& text, const std::string& start) {
    const std::size_t place = text.find(start);
    if (place == std::string::npos) return {};
    const std::size_t begin = place + start.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

/// What was found: a failure's first line, which names the script.
std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

class Script : public testing::TestWithParam<const char*> {};
class Fault : public testing::TestWithParam<int> {};

}  // namespace

TEST_P(Script, EverySchedule_Passes) {
    const Ran all = schedules(GetParam());
    EXPECT_EQ(all.status, 0) << all.output;
    EXPECT_TRUE(all.output.ends_with("schedules: 1 passed, 0 failed\n")) << all.output;
    const std::string count = after(all.output, GetParam());
    EXPECT_GT(std::stoull(count), 100u) << "an enumeration that ends so soon has missed its scheduling points";
    RecordProperty("schedules", count);
    std::printf("%s", all.output.c_str());
}

INSTANTIATE_TEST_SUITE_P(All, Script, testing::ValuesIn(triedScripts.begin(), triedScripts.end()), [](const auto& name) {
    std::string text = name.param;
    std::erase(text, '-');
    return text;
});

TEST_P(Fault, Awake_IsFoundInAScheduleThatRepeats) {
    const exhaustive::Canary& canary = exhaustive::canaries[GetParam()];
    const std::string named = std::string(canary.name) + " " + canary.harness;
    const Ran first = withFault(named + " --schedule -");
    EXPECT_EQ(first.status, 0) << "it is found without a search\n" << first.output;
    const Ran search = withFault(named);
    EXPECT_EQ(search.status, 1) << search.output;
    const std::string repeat = after(search.output, " --canary ");
    ASSERT_NE(repeat, "") << search.output;
    const Ran again = withFault(repeat);
    EXPECT_EQ(again.status, 1) << again.output;
    EXPECT_EQ(firstLine(again.output), firstLine(search.output));
    std::printf("%s", search.output.c_str());
}

TEST_P(Fault, Asleep_IsNotThere) {
    const Ran ran = ::ran(SCHEDULES_CANARY " --interruptions 1 " + std::string(exhaustive::canaries[GetParam()].harness));
    EXPECT_EQ(ran.status, 0) << ran.output;
}

INSTANTIATE_TEST_SUITE_P(Canaries, Fault, testing::Range(0, exhaustive::canaryCount),
                         [](const auto& number) { return exhaustive::canaries[number.param].name; });

TEST(Schedules, List_NamesTheScriptsTriedHere) {
    std::string listed = schedules("--no-such-option").output;
    listed.erase(0, listed.find("scripts:\n"));
    for (const char* name : triedScripts) EXPECT_NE(listed.find(name), std::string::npos) << name;
    std::istringstream lines(listed);
    std::ptrdiff_t tried = -1;  // without the first line
    for (std::string line; std::getline(lines, line);) {
        if (line.find("; a known limit, not run") == line.npos) ++tried;
    }
    EXPECT_EQ(tried, std::ssize(triedScripts)) << listed;
}

TEST(Schedules, UnknownWords_UsageError) {
    for (const char* words : {"tea", "--interruptions", "--interruptions many", "--schedule 1:1",
                              "two-closings --schedule x", "--canary ActiveBeforeTheVersion"}) {
        EXPECT_EQ(schedules(words).status, 2) << words;
    }
}

TEST(Schedules, ScheduleThatDoesNotFit_IsReported) {
    for (const char* schedule : {"3:7", "1000000:1"}) {
        const Ran ran = schedules(std::string("two-closings --schedule ") + schedule);
        EXPECT_EQ(ran.status, 1) << ran.output;
        EXPECT_TRUE(ran.output.ends_with("schedules: 0 passed, 1 failed\n")) << ran.output;
    }
}
