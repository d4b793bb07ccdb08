// The host of the fuzzer: one port, whose bytes are the fuzzer's.
//
// Threads: one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "console/Console.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/NullHost.h"

namespace fuzz {

/// Takes the input apart from its front; at its end every byte is 0.
class Input {
public:
    explicit Input(std::span<const std::uint8_t> bytes) : m_rest(bytes) {}
    std::uint8_t byte();
    double number();
    std::span<const std::uint8_t> rest() const { return m_rest; }

private:
    std::span<const std::uint8_t> m_rest;
};

/// Each 0xFF in its line is an escape: "nothing waiting" when a 0 follows, 0xFF itself when another 0xFF follows, any other
/// result of comms_getc otherwise. It serves the driver without a port as well.
class Host final : public support::NullHost {
public:
    void setInput(std::span<const std::uint8_t> bytes) {
        setLine({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    }

    int getc(bool port, unsigned char* byte, bool take) override;
    /// Reads what it is given, so that a wrong length is seen.
    int write(bool port, const unsigned char* bytes, int count) override;
    int wait(unsigned) override { return lineEmpty() ? 1 : 0; }
};

Host& host();

/// What every key handler does to the console, by its bits: switches input off, on, the wheel on, off, stops, shows a speed.
void setHandlerAction(Cv::Console* console, std::uint8_t action);

/// Ends the process when a key is marked with anything but 0 or 1, or the packet buffer holds more than 11 characters.
void check(Cv::Console& console);

}  // namespace fuzz
