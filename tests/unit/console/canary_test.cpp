// Each harness finds the faults that are planted for it (canaries.txt), and finds none where none is awake.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/unit/console/Canary.h"
#include "tests/unit/console/Decoding.h"
#include "tests/unit/console/Dialogue.h"
#include "tests/unit/console/Framing.h"

namespace exhaustive {
int planted = -1;
}

using namespace exhaustive;

namespace {

Result checkOpenShortPackets() { return checkShortPackets(2); }

using Check = Result (*)();
std::vector<Check> checksOf(const std::string& harness) {
    if (harness == "framing") return {checkMonitorMode, checkCallsBack, checkEveryByte, checkPacketMode};
    if (harness == "decoding") {
        return {checkHandlersCallBack, checkKeys,  checkForwarded, checkTracedPackets, checkVersions,
                checkOpenShortPackets, checkStatus};
    }
    if (harness == "callback") return {checkHandlersCallBack};
    return {checkReads, checkPrompts, checkStarts, checkJumps, checkCheckValues, checkIdentifications};
}

/// What becomes of a process in which the fault is awake: 0 when nothing was found.
int statusWith(int fault, const std::string& harness) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        planted = fault;
        for (const Check check : checksOf(harness)) {
            const Result result = check();
            if (result.difference.empty()) continue;
            std::printf("%s\n", result.difference.c_str());
            std::fflush(nullptr);
            _exit(1);
        }
        _exit(0);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child ? status : -1;
}

class Planted : public testing::TestWithParam<int> {};
class Unplanted : public testing::TestWithParam<const char*> {};

}  // namespace

TEST_P(Planted, Fault_Awake_IsFound) { EXPECT_NE(statusWith(GetParam(), canaries[GetParam()].harness), 0); }
INSTANTIATE_TEST_SUITE_P(Canaries, Planted, testing::Range(0, canaryCount),
                         [](const auto& number) { return canaries[number.param].name; });

TEST_P(Unplanted, NoFaultAwake_NothingIsFound) { EXPECT_EQ(statusWith(-1, GetParam()), 0); }
INSTANTIATE_TEST_SUITE_P(Harnesses, Unplanted, testing::Values("framing", "decoding", "callback", "dialogue"),
                         [](const auto& name) { return std::string(name.param); });
