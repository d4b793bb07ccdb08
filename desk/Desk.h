// The edit console, simulated: bytes, RTS and the operator's hands in; bytes, lamps and wheel out. No I/O, no clock.
//
// Time is whatever the caller says it is, counted from any fixed origin; it never runs backwards (an earlier time counts as
// the latest one given). A byte takes its ten bits at 9600 baud on the line in either direction: input is acted on when its
// last bit has arrived, output bears the time when its last bit has left. The console itself answers in no time.
//
// What the host sends faster than the line carries waits in the host's adapter, up to `sendBuffer` bytes; what reaches the
// console while it starts its program waits in its serial chip, up to `receiveBuffer` bytes. What finds either full is lost
// and counted.
//
// RTS low holds the console in reset: everything on the line is lost, lamps and wheel are off. When it rises, the console
// boots, shows its monitor's prompt and serves the monitor until told to jump to the program. What was sent before does not
// arrive any more; switching the power off and on does the same.
//
// Threads: one at a time; the caller sees to that.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "desk/Machine.h"
#include "desk/Monitor.h"
#include "desk/Program.h"

namespace desk {

struct Options {
    int firmware = 7;                               ///< version answered by the program; the low 12 bits count
    Model model = Model::V4;                        ///< what the monitor says it is
    bool silent = false;                            ///< hears everything, never sends a byte
    bool noMonitor = false;                         ///< boots straight into the program
    bool running = false;                           ///< the program runs from the start; a reset then works as always
    bool unpaced = false;                           ///< bytes take no time on the line
    Time bootTime = std::chrono::milliseconds(20);  ///< from RTS rising or power on to the prompt; input is lost
    Time startTime = std::chrono::milliseconds(5);  ///< from the end of the jump's reply to the program's start
};

class Desk final : public Machine {
public:
    /// As much as Linux takes for a serial port before a program that writes has to wait: no host behind a real port can be
    /// further ahead of the line. Lamps and wheel all set at once are 200 bytes.
    static constexpr std::size_t sendBuffer = 4096;
    /// The FIFO of a common serial chip (16550). The console's program takes each byte as it comes, so it never fills then.
    static constexpr std::size_t receiveBuffer = 16;

    /// Powers the console on at `now`, with RTS high.
    explicit Desk(const Options& options = {}, Time now = Time::zero());

    // The line.

    /// The host begins to send a byte, or queues it behind those on their way.
    void receive(unsigned char byte, Time now) override;
    /// Takes effect at once, whatever is on its way.
    void setRts(bool high, Time now) override;
    void dropInput(Time now) override;
    std::optional<TimedByte> takeOutput(Time now) override;
    std::optional<Time> nextEvent() const override;
    bool unpaced() const override { return m_options.unpaced; }
    /// Lets time pass up to `now`, as every operation with a time does.
    void advance(Time now);

    // The operator. Keys and wheel do nothing unless the program runs. What finds more than 4096 bytes waiting is lost
    // whole. Only a release is not: it waits, and all else is lost until it has been sent.

    /// False if it is lost.
    bool press(char key, Time now);
    void release(char key, Time now);
    void tap(char key, Time now);
    /// Turns the shuttle ring; 127 is its centre. It stays where it is put, through resets too.
    void shuttle(unsigned char position, Time now);
    /// Turns the jog wheel; `fine` is in ten-thousandths of a count and extends `counts` in its own direction.
    void jog(std::int8_t counts, std::int16_t fine, Time now);
    /// Sends "~", a packet and a space, as if from a device on the expansion port.
    void forward(std::string_view packet, Time now);
    /// Sends any bytes, also from the monitor; nothing is sent while RTS is low.
    void raw(std::string_view bytes, Time now);
    /// Off and on again.
    void powerCycle(Time now);

    // What shows from outside.

    bool programRunning() const { return m_phase == Phase::program; }
    /// The program runs and has told its version.
    bool active() const { return programRunning() && m_program.versionAsked(); }
    /// 'O', 'F', 'H' or 'B' for lamps 1 to 46, NUL for any other number.
    char lamp(int number) const { return m_program.lamp(number); }
    bool wheelOn() const { return m_program.wheelOn(); }
    bool rts() const { return m_rts; }
    /// How often RTS has fallen.
    unsigned resets() const { return m_resets; }
    /// Commands that the program did not understand, since the console was made.
    unsigned unknownCommands() const { return m_unknownCommands; }
    /// Bytes from the host that found a buffer full, since the console was made.
    std::uint64_t lostInput() const { return m_lostInput; }
    /// The last 65536 bytes that arrived, with their times, whether or not anything listened.
    const std::deque<TimedByte>& received() const { return m_received; }
    void forgetReceived() { m_received.clear(); }
    const Options& options() const { return m_options; }

    // Changing what it is.

    /// Hears everything worth telling, on the caller's thread, while it happens; must not call back into the desk.
    void watch(Watcher watcher) { m_watcher = std::move(watcher); }
    /// Puts an image at 0100 in memory, where resets and power cycles leave it. False, and nothing changes, if it is too
    /// long.
    bool load(std::span<const unsigned char> image) { return m_memory.load(image); }

private:
    /// `starting` keeps up to `receiveBuffer` bytes for the program; `off` and `booting` lose them.
    enum class Phase { off, booting, monitor, starting, program };

    void take(TimedByte arrived);
    void finishTimer();
    void startBoot();
    void startProgram();
    void stop();
    void clearInput();
    /// Tells of the bytes that were lost since it was last told.
    void tellLoss();
    /// False if they are lost.
    bool send(std::string_view bytes);
    void sendReleases();
    bool operate(std::string_view packet, Time now);

    Options m_options;
    Watcher m_watcher;
    Memory m_memory;
    Monitor m_monitor;
    Program m_program;
    Phase m_phase = Phase::off;
    Time m_now;
    std::optional<Time> m_timer;     ///< end of booting or starting
    std::deque<TimedByte> m_input;   ///< with the times of their arrival
    Time m_inputFree;                ///< when the line towards the desk falls idle
    std::deque<TimedByte> m_output;  ///< with the times when they have left
    Time m_outputFree;               ///< when the line from the desk falls idle
    std::string m_unsentReleases;    ///< of these keys, each once
    std::string m_held;              ///< arrived while the program was starting
    std::deque<TimedByte> m_received;
    unsigned char m_shuttle = 127;
    bool m_rts = true;
    unsigned m_resets = 0;
    unsigned m_unknownCommands = 0;
    std::uint64_t m_lostInput = 0;
    std::uint64_t m_lostTold = 0;  ///< how much of it has been told
};

}  // namespace desk
