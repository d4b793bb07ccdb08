// The console's serial port with the far end that serves checks: cvdesk --check, or a plug that sends back what it gets.
//
// Threads: the console's own. The receive callback runs on the host's receive thread.
#pragma once

#include <atomic>
#include <span>

#include "host/api/Comms.h"
#include "hostcheck/Results.h"
#include "hostcheck/Task.h"

namespace hostcheck {

using WideString = LightweightString<wchar_t>;

inline constexpr int baudRate = 9600;

/// The port that the driver would take: the first described as "USB Serial Port", else as "Corvane", else "console_port".
WideString consolePort();
/// Opens it as the driver does.
Cv::Ptr<CommsPort> openConsolePort();

enum class FarEnd { unknown, none, loopback, desk };

/// The console's port while it is open. Its receive callback counts its calls and takes no bytes.
class Port {
public:
    using OnCall = void (*)(Port& port, void* context);

    /// Opens, registers and greets the far end.
    Port();
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;
    ~Port();

    const Cv::Ptr<CommsPort>& handle() const { return m_handle; }
    FarEnd farEnd() const { return m_farEnd; }
    bool hasDesk() const { return m_farEnd == FarEnd::desk; }
    /// The desk's end of the line sees RTS.
    bool hasRts() const { return m_rts; }
    /// The line is a USB adapter: too slow for a flood, and it does not drop by itself.
    bool isAdapter() const { return m_adapter; }
    /// A desk or a plug is there.
    bool answers() const { return m_farEnd != FarEnd::none; }

    /// What comms_putchs answers.
    int send(std::span<const unsigned char> bytes);
    int send(const char* text);
    /// The next byte, or -1.
    int take();
    /// The next line without its end, empty lines left out; false when none comes in time.
    bool readLine(Text& line);
    /// Sends a command to the desk and takes its answer.
    bool ask(Text& answer, const char* command);
    /// Has bytes come in: 0, 1, ... 255, 0, ... `count` in all, at most 1024.
    void request(unsigned count);

    /// Waits until each byte that was taken has had its call: the calls counted from now on are for bytes to come.
    void settle();
    /// Calls of the receive callback so far.
    unsigned calls() const { return m_calls; }
    /// Has `onCall` called in each callback; null: nothing. Set it while nothing arrives.
    void setOnCall(OnCall onCall, void* context);
    bool registerAgain();
    void deregister();
    /// Lets the callback go and closes the port.
    void close();

    /// The callback itself; the port is its context.
    static bool received(void* context);

private:
    bool greet();

    WideString m_name;
    Cv::Ptr<CommsPort> m_handle;
    FarEnd m_farEnd = FarEnd::none;
    bool m_rts = false;
    bool m_adapter = false;
    std::atomic<unsigned> m_calls = 0;
    std::atomic<unsigned> m_taken = 0;
    std::atomic<OnCall> m_onCall = nullptr;
    std::atomic<void*> m_context = nullptr;
};

Outcome withoutDesk(const Port& port);
/// Whether the desk, or anything, is at the other end; else why not is what a check answers.
#define HOSTCHECK_NEEDS(condition, port) \
    if (!(condition)) return withoutDesk(port)

}  // namespace hostcheck
