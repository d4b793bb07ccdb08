// Hosts that each break one promise: the check fails that promise, and besides it only those that depend on it.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>

#include "tests/hostcheck/HostCheckRig.h"

namespace hostcheck_test {
namespace {

using Ids = std::set<std::string>;

struct BrokenHost {
    const char* name;     ///< as tests/hostcheck/broken knows it: the promise, and perhaps a way to break it
    Ids dependents = {};  ///< what else such a host may fail, since it cannot keep it either

    /// The promise that it breaks.
    std::string promise() const { return std::string(name).substr(0, std::string_view(name).find('/')); }
};

void PrintTo(const BrokenHost& host, std::ostream* out) { *out << host.name; }

const std::vector<BrokenHost> brokenHosts = {
    {"life-log-in-statics"},
    {"life-os-in-statics"},
    {"life-settings-in-statics"},
    {"life-first-answer", {"life-preunload"}},
    {"life-order"},
    {"life-hooks-once"},
    {"life-one-thread"},
    {"life-walk-finds"},
    {"life-walk-initialised"},
    {"life-walk-type"},
    {"life-downcast"},
    {"life-console-found", {"life-exit-first"}},
    {"life-exit-first"},
    {"life-preunload"},
    {"life-deletes-console"},
    {"life-nothing-after"},
    {"life-many-loads"},
    {"memory-same"},
    {"memory-alignment"},
    {"memory-zero"},
    {"memory-none"},
    {"memory-threads"},
    {"memory-null"},
    {"memory-lasting"},
    {"handles-count"},
    {"thread-new"},
    {"thread-flag", {"thread-end-waits"}},
    {"thread-end-waits"},
    {"thread-twice", {"thread-again"}},
    {"thread-again"},
    {"thread-ends-itself"},
    {"event-made"},
    {"event-clear", {"event-timeout"}},
    {"event-wakes"},
    {"event-kept"},
    {"event-taken"},
    {"event-timeout"},
    {"event-timeout/late"},
    {"event-reset"},
    {"event-sleep"},
    {"serial-list"},
    {"serial-list/no-name"},
    {"serial-open-null"},
    {"serial-error-clear", {"serial-reopen"}},
    {"serial-settings"},
    {"serial-settings/stop-bits"},
    {"serial-odd-settings"},
    {"serial-bytes-in", {"serial-call-after-byte"}},
    {"serial-bytes-out"},
    {"serial-sent"},
    {"serial-getc"},
    {"serial-at-once"},
    {"serial-peek"},
    {"serial-clear"},
    {"serial-call-each-byte"},
    {"serial-call-after-byte"},
    {"serial-call-one-thread"},
    {"serial-call-alone",
     {"serial-call-each-byte", "serial-call-after-byte", "serial-call-one-thread", "serial-register-replaces"}},
    {"serial-register-replaces"},
    {"serial-rts"},
    {"serial-rts-after-data"},
    {"serial-data-after-rts", {"serial-rts"}},
    {"serial-writers"},
    {"serial-reopen"},
    {"serial-deregister-waits"},
    {"serial-deregister-last", {"serial-deregister-waits"}},
    {"serial-deregister-itself", {"keys-exit"}},
    {"serial-closed", {"serial-reopen"}},
    {"serial-closed-lives"},
    {"serial-null"},
    {"serial-flood"},
    {"serial-lost"},
    {"settings-default", {"settings-threads"}},
    {"settings-threads"},
    {"settings-preference"},
    {"settings-asked-again"},
    {"files-folder"},
    {"files-missing"},
    {"files-read"},
    {"files-short"},
    {"names-utf8", {"names-bytes"}},
    {"names-bytes"},
    {"keys-codes"},
    {"keys-at-once"},
    {"keys-count"},
    {"keys-threads"},
    {"keys-null-table"},
    {"keys-handler"},
    {"keys-answer"},
    {"keys-execute"},
    {"keys-nested"},
    {"keys-table-changes"},
    {"keys-exit"},
    {"keys-last-button"},
    {"keys-full"},
    {"log-threads"},
    {"log-long"},
    {"log-unknown"},
    {"log-long-double"},
    {"log-percent-n"},
};

int levelOf(const std::string& id) {
    const auto* const promise = std::ranges::find(hostcheck::promises, id, &hostcheck::Promise::id);
    return promise == std::end(hostcheck::promises) ? 0 : promise->level;
}

class BrokenHostTest : public HostCheckTest, public testing::WithParamInterface<BrokenHost> {};

TEST_P(BrokenHostTest, CheckHost_BreaksOnePromise_FailsItAndItsDependents) {
    const std::string promise = GetParam().promise();
    const std::string library = promise == "keys-last-button" ? BUTTON_LIBRARY : BROKEN_LIBRARY;
    const CheckRun run = check({"--plugin", HOSTCHECK_LIBRARY, "--level", std::to_string(std::max(2, levelOf(promise)))},
                               {{"LD_PRELOAD", library}, {"BROKEN_PROMISE", GetParam().name}});
    EXPECT_NE(run.status, 0);
    Ids failed = run.failed();
    EXPECT_EQ(failed.erase(promise), 1U) << run.describe();
    for (const std::string& dependent : GetParam().dependents) failed.erase(dependent);
    EXPECT_THAT(failed, testing::IsEmpty()) << run.describe();
}

INSTANTIATE_TEST_SUITE_P(Each, BrokenHostTest, testing::ValuesIn(brokenHosts), [](const auto& host) {
    std::string name = host.param.name;
    std::ranges::replace_if(name, [](char letter) { return letter == '-' || letter == '/'; }, '_');
    return name;
});

TEST(BrokenHosts, EveryPromise_IsBrokenByOne) {
    Ids uncovered = idsUpTo(3);
    for (const BrokenHost& host : brokenHosts) {
        EXPECT_NE(levelOf(host.promise()), 0) << host.name << " is no promise";
        uncovered.erase(host.promise());
    }
    std::printf("%zu promises, %zu broken hosts; promises that none of them breaks: %s\n", hostcheck::promiseCount,
                brokenHosts.size(), uncovered.empty() ? "none" : testing::PrintToString(uncovered).c_str());
    EXPECT_THAT(uncovered, testing::IsEmpty());
}

/// The libraries in front of the host change nothing by themselves.
TEST_F(HostCheckTest, CheckHost_NothingBroken_EveryPromiseKept) {
    const CheckRun run = check({"--plugin", HOSTCHECK_LIBRARY, "--level", "3"}, {{"LD_PRELOAD", BROKEN_LIBRARY}});
    EXPECT_EQ(run.status, 0) << run.describe();
    EXPECT_THAT(run.results(), testing::Each(testing::Pair(testing::_, "pass"))) << run.describe();
}

}  // namespace
}  // namespace hostcheck_test
