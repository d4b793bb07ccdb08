// The one object that stands for the hardware console.
//
// To the host it is a resource component, the console interface iConsoleResource, and a thread that brings the console up.
//
// Threads: [host] the host's threads, through iConsoleResource; [start] the object's own thread "ConsInit"; [rx] the serial
// library's receive thread. The host's key handlers run on it, and may call what the host calls: [host] includes them.
// There is no lock: a field that threads share is read and written through load and store (monitor/SharedField.h) and names
// its writers, all of which docs/threads.md lists. Members without a tag may be called from any of them.
#pragma once

#include <cstdint>

#include "console/Settings.h"
#include "host/api/Comms.h"
#include "host/api/Component.h"
#include "host/api/ConsoleResource.h"
#include "host/api/Ptr.h"
#include "host/api/Thread.h"
#include "host/api/ThreadEvent.h"
#include "monitor/RamImage.h"

/// Nothing reads or writes it. Kept: it is part of the library's exported names. Test: ExportedNames_Are_TheSeven.
extern char console_msg[80];

/// Length of a shuttle packet of the console model last identified: 13 or 11; 0 before. Read it once active() has
/// been true; a start-up that runs again writes it again.
extern std::uint16_t ShuttlePacketSize;

/// Discards whatever `port` has received and nobody has taken, at once. True. [start]
bool Purge(Cv::Ptr<CommsPort> port);

/// Exchanges the three trimming keys' codes: 39 gives 31, 40 gives 39, 31 gives 40, any other code itself.
int remapTrimmingKeys(int code);

namespace Cv {

class Console : public CvResourceTypeBase, public iConsoleResource, public BasicThread {
public:
    Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    /// Ends the thread and drops the port; the console's lamps stay as they are.
    ~Console() override;

    // The order of these is the order of their slots.
    bool init() override;
    void exit() override;
    bool active() const override;
    int get_ispeed() override;
    void set_ispeed(int speed) override;
    void force_stop() override;
    void force_mode(int mode) override;
    void enable() override;
    void disable() override;
    bool enabled() override;
    void lamp_set(int lamp, int state) override;
    void show_ispeed(int speed) override;
    double get_jog_gearing() override;
    void enable_wheel() override;
    void enable_suspended_wheel() override;
    void disable_wheel() override;
    void suspend_wheel() override;
    bool wheel_enabled() override;
    int get_jog_delta() override;
    double get_jog_delta_exact() override;
    bool key_is_down(int code) override;
    void threadFn() override;
    bool jog_suspended() override;

    void jog_setSuspended(bool suspended);

    /// Called before the console is registered with the host: true would mean that somebody else has it. False.
    static bool open_console_driver();
    static void close_console_driver();

    // Port.cpp
    /// Finds, opens and hooks the console's port. True when a port is held at the end, also one that reports an error and
    /// has no receive callback. [start]
    bool open_port();
    /// Unhooks and closes the port, if one is held. [host], after the thread has ended
    void close_port();

    // Detect.cpp
    /// Resets the console, starts its program and asks its version. True when it answered. [start], a port is held
    bool open_driver();
    /// Resets the console into its boot monitor and identifies the model. True when that worked. [start]
    bool PortActive();
    /// Asks the version until it is known, six times at most, 250 ms apart. [start]
    void ask_version();

    // monitor/BootMonitor.cpp: the dialogue with the boot monitor. [start]
    /// Waits 100 ms at most for `length` characters, then takes as many as there are. Returns their number. A short reply
    /// leaves a zero in the last place asked for; a full one is not terminated.
    unsigned int ReadString(char* buffer, unsigned int length);
    /// Sends `text`, 64 characters at most, and discards its echo. False when it could not be sent.
    bool SendString(const char* text);
    /// True when the next eight characters are the prompt.
    bool GetConsolePrompt();
    /// Asks the monitor for the check value of its memory; the low 16 bits of `value` are sent as the command's last
    /// argument. `crc` is written on success only.
    bool GetCRC(unsigned int value, unsigned short& crc);
    /// Starts the program in console memory. True when the monitor said so.
    bool RunProgram();

    // Receive.cpp
    /// The receive callback: `console` is the object. True. [rx]
    static bool rx_interrupt_char(void* console);
    bool rx_interrupt_char();

    // Decode.cpp
    /// Takes one packet, `text` of `length` characters and a terminator, without its closing blank. [rx]
    void corvane_console_parse_packet(char* text, int length);
    /// Runs the host's handler for `code`. True when it took the key.
    bool call_handler(int code);
    /// True when the host has a handler for `code`.
    bool has_handler(int code);

    // Commands.cpp
    /// Sends `s`. False when no port is held or the port did not take it.
    bool console_puts(const char* s);
    /// Sends a one-letter command.
    void command(char c);
    /// Sets lamps 3, 2 and 1 to the three characters of `s`.
    void lamp_set3(const char* s);
    /// Switches off lamps 1..46, whatever state they are known to be in.
    void lights_off();

private:
    friend struct ConsoleTestAccess;

    static constexpr int s_lampEntries = 47;
    static constexpr int s_keyEntries = 46;

    void resetIntoMonitor();

    bool countMonitorByte();
    void gatherPackets();
    void completePacket();

    void takeVersion(char* text);
    void takeWheelStatus(char* text, int length);
    void takeShuttle(int position);
    void takeJog(int count, double fine);
    void takeForwarded(char* text, int length);
    void takeKey(const char* text, int length);
    void takeKeyPress(int code);
    void markKey(int code, bool down);

    bool bringUp();
    void settle();

    // In the order and of the types that debuggers and dumps of the built library show.
    bool m_wheelEnabled = false;                // [host] [start]
    bool m_jogSuspended = false;                // [host]
    bool m_enabled = true;                      // [host]
    std::int32_t m_shuttleOffset = 0;           // [rx]
    std::int32_t m_ispeed = 0;                  // [rx] [start] [host]
    std::int32_t m_jogDelta = 0;                // [rx]
    double m_jogDeltaExact = 0;                 // [rx]
    std::int32_t m_state = 0;                   // [rx], [host] at exit
    std::int32_t m_version = 0;                 // [rx]
    bool m_monitorMode = false;                 // [start]
    bool m_blinkPending = false;                // [host] [start]
    std::int32_t m_lampState[s_lampEntries];    // [host] [start]; by lamp, -1 unknown
    std::uint8_t m_keyDown[s_keyEntries] = {};  // [rx]; by key code
    Cv::Ptr<CommsPort> m_port;                  // [start], [host] at exit; through portHandle and setPortHandle
    Cv::Ptr<iThreadEvent> m_rxEvent;            // set at construction

    /// A counted copy of the port's handle.
    Cv::Ptr<CommsPort> portHandle() const;
    void setPortHandle(Cv::Ptr<CommsPort> port);

    // One for the program, since there is only ever one console.
    static std::uint32_t s_rxCount;     // [rx]; bytes in the packet buffer, or bytes counted in monitor mode
    static std::uint32_t s_rxExpected;  // [start]; how many bytes ReadString waits for
    static char s_rxBuffer[12];         // [rx]
    static char s_statusLead;           // [rx]; first character of a wheel status
};

}  // namespace Cv
