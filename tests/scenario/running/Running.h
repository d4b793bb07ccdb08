// What the tests of a running console share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Rig.h"

namespace running {

using namespace support;

/// Names the instances of a parameterised test after their rows.
inline constexpr auto byName = [](const auto& row) { return std::string(row.param.name); };

/// The console's own state, byte by byte.
inline std::string bytesOf(const Cv::Console& console) { return {reinterpret_cast<const char*>(&console), sizeof console}; }

/// How the log shows a byte that was seen in the port, or taken from it.
inline std::string byteLine(char byte) { return std::string("CON:   rx: char \"") + byte + "\"\n"; }

/// What the decoder says of a packet that it does not understand.
inline std::string illegalLine(std::string_view packet) {
    return "CON:   corvane_console_parse_packet: illegal packet ignored: " + std::string(packet) + "\n";
}

/// A console that runs: port open, version 7 heard, nothing recorded yet.
class Running : public testing::Test {
protected:
    Running() { rig.activate(); }

    Cv::Console& console() { return rig.console(); }
    /// Hands a packet to the decoder, which need not have come over the line.
    void parse(std::string packet) {
        console().corvane_console_parse_packet(packet.data(), static_cast<int>(packet.size()));
    }
    /// Lets a key press wait in the host's queue.
    void queueAKey() {
        addToKeyPressQueue(1, 0, 0);
        rig.forget();
    }

    Rig rig{Rig::Scripted{}};
};

}  // namespace running
