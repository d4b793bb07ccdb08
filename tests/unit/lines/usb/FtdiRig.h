// A USB serial adapter on virtual time, with a desk on its serial side.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desk/Desk.h"
#include "lines/Ftdi.h"

namespace usb_test {

using namespace std::chrono_literals;
using lines::Ftdi;
using Bytes = Ftdi::Bytes;
using Time = desk::Time;

inline Ftdi::Setup setup(unsigned type, unsigned request, unsigned value = 0, unsigned index = 0, unsigned length = 0) {
    const auto byte = [](unsigned number) { return static_cast<unsigned char>(number & 0xFFU); };
    return {byte(type),  byte(request),    byte(value),  byte(value >> 8),
            byte(index), byte(index >> 8), byte(length), byte(length >> 8)};
}

inline Bytes bytes(std::string_view text) { return {text.begin(), text.end()}; }

class FtdiRig {
public:
    explicit FtdiRig(const desk::Options& options = {.running = true}) : desk(options) {}

    std::optional<Bytes> ask(unsigned type, unsigned request, unsigned value = 0, unsigned index = 0,
                             unsigned length = 255) {
        return ftdi.control(setup(type, request, value, index, length), desk, now);
    }
    /// As the driver does when a port is opened and set to 9600 8N1.
    void open() {
        ask(0x40, 0);
        ask(0x40, 4, 0x0008);
        ask(0x40, 3, 0x4138);
        ask(0x40, 2);
        ask(0x40, 1, 0x0303);
        now += 16ms;
        ftdi.read(512, now);  // the status
    }
    /// Takes what the desk has sent up to now to the adapter, each byte at its time.
    void carry() {
        while (const auto byte = desk.takeOutput(now)) ftdi.receive(std::span(&byte->byte, 1), byte->at);
    }
    Time write(std::string_view text) { return ftdi.write(bytes(text), desk, now); }
    std::string received() const {
        std::string text;
        for (const desk::TimedByte& byte : desk.received()) text += static_cast<char>(byte.byte);
        return text;
    }

    desk::Desk desk;
    std::vector<lines::SerialSettings> heard;
    Ftdi ftdi{"Corvane Console", [this](const lines::SerialSettings& settings) { heard.push_back(settings); }};
    Time now = 1s;
};

}  // namespace usb_test
