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
    {.name = "life-log-in-statics"},
    {.name = "life-os-in-statics"},
    {.name = "life-settings-in-statics"},
    {.name = "life-first-answer", .dependents = {"life-preunload"}},
    {.name = "life-order"},
    {.name = "life-hooks-once"},
    {.name = "life-one-thread"},
    {.name = "life-walk-finds"},
    {.name = "life-walk-initialised"},
    {.name = "life-walk-type"},
    {.name = "life-downcast"},
    {.name = "life-console-found", .dependents = {"life-exit-first"}},
    {.name = "life-exit-first"},
    {.name = "life-preunload"},
    {.name = "life-deletes-console"},
    {.name = "life-nothing-after"},
    {.name = "life-many-loads"},
    {.name = "memory-same"},
    {.name = "memory-alignment"},
    {.name = "memory-zero"},
    {.name = "memory-none"},
    {.name = "memory-threads"},
    {.name = "memory-null"},
    {.name = "memory-lasting"},
    {.name = "handles-count"},
    {.name = "thread-new"},
    {.name = "thread-flag", .dependents = {"thread-end-waits"}},
    {.name = "thread-end-waits"},
    {.name = "thread-twice", .dependents = {"thread-again"}},
    {.name = "thread-again"},
    {.name = "thread-ends-itself"},
    {.name = "event-made"},
    {.name = "event-clear", .dependents = {"event-timeout"}},
    {.name = "event-wakes"},
    {.name = "event-kept"},
    {.name = "event-taken"},
    {.name = "event-timeout"},
    {.name = "event-timeout/late"},
    {.name = "event-reset"},
    {.name = "event-sleep"},
    {.name = "serial-list"},
    {.name = "serial-list/no-name"},
    {.name = "serial-open-null"},
    {.name = "serial-error-clear", .dependents = {"serial-reopen"}},
    {.name = "serial-settings"},
    {.name = "serial-settings/stop-bits"},
    {.name = "serial-odd-settings"},
    {.name = "serial-bytes-in", .dependents = {"serial-call-after-byte"}},
    {.name = "serial-bytes-out"},
    {.name = "serial-sent"},
    {.name = "serial-getc"},
    {.name = "serial-at-once"},
    {.name = "serial-peek"},
    {.name = "serial-clear"},
    {.name = "serial-call-each-byte"},
    {.name = "serial-call-after-byte"},
    {.name = "serial-call-one-thread"},
    {.name = "serial-call-alone",
     .dependents = {"serial-call-each-byte", "serial-call-after-byte", "serial-call-one-thread",
                    "serial-register-replaces"}},
    {.name = "serial-register-replaces"},
    {.name = "serial-rts"},
    {.name = "serial-rts-after-data"},
    {.name = "serial-data-after-rts", .dependents = {"serial-rts"}},
    {.name = "serial-writers"},
    {.name = "serial-reopen"},
    {.name = "serial-deregister-waits"},
    {.name = "serial-deregister-last", .dependents = {"serial-deregister-waits"}},
    {.name = "serial-deregister-itself", .dependents = {"keys-exit"}},
    {.name = "serial-closed", .dependents = {"serial-reopen"}},
    {.name = "serial-closed-lives"},
    {.name = "serial-null"},
    {.name = "serial-flood"},
    {.name = "serial-lost"},
    {.name = "settings-default", .dependents = {"settings-threads"}},
    {.name = "settings-threads"},
    {.name = "settings-preference"},
    {.name = "settings-asked-again"},
    {.name = "files-folder"},
    {.name = "files-missing"},
    {.name = "files-read"},
    {.name = "files-short"},
    {.name = "names-utf8", .dependents = {"names-bytes"}},
    {.name = "names-bytes"},
    {.name = "keys-codes"},
    {.name = "keys-at-once"},
    {.name = "keys-count"},
    {.name = "keys-threads"},
    {.name = "keys-null-table"},
    {.name = "keys-handler"},
    {.name = "keys-answer"},
    {.name = "keys-execute"},
    {.name = "keys-nested"},
    {.name = "keys-table-changes"},
    {.name = "keys-exit"},
    {.name = "keys-last-button"},
    {.name = "keys-full"},
    {.name = "log-threads"},
    {.name = "log-long"},
    {.name = "log-unknown"},
    {.name = "log-long-double"},
    {.name = "log-percent-n"},
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
