// A desk on virtual time, with a host that talks to it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "desk/Desk.h"

namespace desk_test {

using namespace std::chrono_literals;
using desk::byteTime;
using desk::Time;

class DeskRig {
public:
    explicit DeskRig(const desk::Options& options = {}) : desk(options) {}

    /// The host sends `text`, beginning now.
    void say(std::string_view text) {
        for (const char character : text) desk.receive(static_cast<unsigned char>(character), now);
    }
    /// What the desk sends within the next `time`.
    std::string run(Time time) {
        const Time end = now + time;
        std::string text;
        for (auto next = desk.nextEvent(); next && *next <= end; next = desk.nextEvent()) {
            while (const auto byte = desk.takeOutput(*next)) {
                text += static_cast<char>(byte->byte);
                lastByteAt = byte->at;
            }
        }
        desk.advance(end);
        now = end;
        return text;
    }
    /// What the desk sends when told `text`.
    std::string ask(std::string_view text) {
        say(text);
        return run(500ms);
    }
    /// Past the boot, through the monitor, into the program.
    void startProgram() {
        run(500ms);
        ask("J 0100 0\r");
    }
    void reset() {
        desk.setRts(false, now);
        run(200ms);
        desk.setRts(true, now);
    }

    desk::Desk desk;
    Time now{};
    Time lastByteAt{};
};

}  // namespace desk_test
