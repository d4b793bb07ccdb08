// The first process of the virtual machine: makes it ready, runs the tests and ends it.
#include <gtest/gtest.h>

#include <cstdio>
#include <exception>

#include "tests/kernel/Guest.h"

int main(int argc, char** argv) {
    bool passed = false;
    try {
        kernel_test::mountFileSystems();
        for (const std::string& module : kernel_test::modules()) kernel_test::loadModule(module);
        testing::InitGoogleTest(&argc, argv);
        passed = RUN_ALL_TESTS() == 0;
        const testing::UnitTest& all = *testing::UnitTest::GetInstance();
        std::printf("guest: %d passed, %d failed\n", all.successful_test_count(), all.failed_test_count());
        passed = passed && all.successful_test_count() > 0;
    } catch (const std::exception& error) {
        std::printf("guest: %s\n", error.what());
    }
    std::fflush(stdout);
    kernel_test::powerOff(passed);
}
