// What the start-up tests share: a console with a scripted peer behind its open port.
#pragma once

#include <gtest/gtest.h>

#include "monitor/RamImage.h"
#include "tests/scenario/startup/Hooks.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Rig.h"

namespace startup {

using namespace support;

inline constexpr std::string_view prompt = "\r\nEPROM>";

/// `count` bytes take this long on the line.
inline Time onTheLine(std::int64_t count) { return count * desk::byteTime; }

/// The console's port is open and in boot-monitor mode; nothing answers but what the test tells the peer to.
class DialogueTest : public testing::Test {
protected:
    DialogueTest() {
        hooks() = {};
        console.open_port();
        ConsoleTestAccess::monitorMode(console) = true;
        rig.forget();
    }
    ~DialogueTest() override { hooks() = {}; }

    /// The monitor echoes `command`, and behind its line end sends `reply`.
    void echoes(const std::string& command) { rig.peer().answer(command, command); }
    void replies(const std::string& reply) { rig.peer().answer("\r", "\r" + reply); }
    /// Refuses the write number `number`, the first being 0.
    void refuseWrite(int number) {
        hooks().refuseWrite = [left = number](const std::string&) mutable { return left-- == 0; };
    }
    Texts transcript() const { return rig.transcript({Kind::sent, Kind::rts, Kind::log}); }

    Rig rig{Rig::Scripted{}};
    Cv::Console& console = rig.console();
};

}  // namespace startup
