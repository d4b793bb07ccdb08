// The host check with its far end behind a USB adapter of this kernel.
#include <gtest/gtest.h>

#include "tests/hostcheck/HostCheckRig.h"
#include "tests/kernel/Adapter.h"

namespace kernel_test {
namespace {

class HostCheck : public hostcheck_test::HostCheckTest {};

TEST_F(HostCheck, CheckHost_OnUsbAdapter_AllThatItCanDoKept) {
    apps_test::Process desk(cvdesk({"--check", "--usb"}));
    const hostcheck_test::CheckRun run = check({"--level", "3", "--port", whereIs(desk)});
    EXPECT_EQ(run.status, 0) << run.describe();
    EXPECT_EQ(run.results().size(), hostcheck_test::idsUpTo(3).size());
    for (const auto& [id, result] : run.results()) {
        const bool beyondAdapter = id == "serial-flood" || id == "serial-lost";
        EXPECT_EQ(result, beyondAdapter ? "not tried" : "pass") << id << '\n' << run.describe();
    }
}

}  // namespace
}  // namespace kernel_test
