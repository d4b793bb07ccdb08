// A machine that fails while it is served.
#include <gtest/gtest.h>

#include <exception>
#include <future>
#include <memory>
#include <new>
#include <string>

#include "lines/DeskServer.h"
#include "lines/Rfc2217Server.h"

TEST(MachineServer, MachineThrows_IsReportedAndTheProcessLivesOn) {
    std::promise<std::string> reported;
    const auto throws = [](const desk::DeskEvent&) { throw std::bad_alloc(); };
    const auto failure = [&reported] {
        try {
            throw;
        } catch (const std::exception& error) {
            reported.set_value(error.what());
        }
    };
    lines::DeskServer server(desk::Options{}, std::make_unique<lines::Rfc2217Server>(), throws, failure);
    EXPECT_EQ(reported.get_future().get(), std::bad_alloc().what());
    bool rts = false;
    server.operate([&rts](const desk::Desk& desk, desk::Time) { rts = desk.rts(); });
    EXPECT_TRUE(rts) << "it can be looked at still";
}
