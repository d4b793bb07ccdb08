// How often the service manager hears from a run.
#include "apps/cvhost/run/ServiceManager.h"

#include <gtest/gtest.h>
#include <stdlib.h>

namespace {

using namespace std::chrono_literals;
using cvhost::run::ServiceManager;

class WatchdogTest : public testing::Test {
protected:
    WatchdogTest() { ::unsetenv("WATCHDOG_PID"); }
    ~WatchdogTest() override { ::unsetenv("WATCHDOG_USEC"); }
};

TEST_F(WatchdogTest, LongestWait_WatchdogAsked_IsAQuarterOfItsTime) {
    ::setenv("WATCHDOG_USEC", "2000000", 1);
    const ServiceManager service;
    EXPECT_EQ(service.longestWait(1s), 500ms);
    EXPECT_EQ(service.longestWait(50ms), 50ms);
}

TEST_F(WatchdogTest, LongestWait_NoWatchdog_IsTheOneWanted) {
    ::unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(ServiceManager().longestWait(1s), 1s);
}

}  // namespace
