// The least host that the driver runs on: one thread, no time, one port whose bytes are the fuzzer's.
//
// Threads: one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "console/Console.h"

namespace Cv {

/// Reaches the parts of the console that only the library itself and its tests use.
struct ConsoleTestAccess {
    /// Back to what a freshly loaded library has, but for the settings.
    static void forgetReceived();
    static void openFuzzPort(Console& console);
    static void setMonitorMode(Console& console, bool on);
    /// Ends the process when a key is marked with anything but 0 or 1, or the packet buffer holds more than 11 characters.
    static void check(const Console& console);
};

}  // namespace Cv

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

/// What the port gives next: in `bytes`, each 0xFF is an escape ("nothing waiting" when a 0 follows, 0xFF itself when
/// another 0xFF follows, any other comms_getc result otherwise).
void setLine(std::span<const std::uint8_t> bytes);
bool lineEmpty();

/// What every key handler does to the console, by its bits: switches input off, on, the wheel on, off, stops, shows a speed.
void setHandlerAction(Cv::Console* console, std::uint8_t action);

}  // namespace fuzz
