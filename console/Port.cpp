// Which serial port is the console's, and its opening and closing.
#include <atomic>
#include <type_traits>
#include <utility>

#include "console/Console.h"
#include "console/Protocol.h"
#include "host/api/Log.h"
#include "host/api/OS.h"
#include "host/api/Settings.h"

namespace {

using WideString = LightweightString<wchar_t>;

const WideString* findDescribed(const SerialPortList& ports, std::wstring_view text) {
    for (const auto& [name, description] : ports) {
        if (description.contains(text)) return &name;
    }
    return nullptr;
}

WideString chooseCandidate() {
    SerialPortList ports;
    OS().serialPorts().list(ports);

    WideString candidate;
    // Kept: the second search always runs, and its find wins. Test: OpenPort_CorvaneAndUsbSerial_UsbSerialWins.
    for (const std::wstring_view text : {L"Corvane", L"USB Serial Port"}) {
        if (const WideString* name = findDescribed(ports, text)) candidate = *name;
    }
    if (candidate.empty()) candidate = Cv::WStringFromAscii(config_string("console_port", "/dev/ttyUSB0").c_str());
    return candidate;
}

void logOpenFailure() {
    if (Cv::s_consoleDebug) LogBoth("CON:   failed to open console driver \\.CVCon\n");
}

// A handle is one pointer. Copies are taken while another thread may replace it, so the pointer itself is read and written
// whole; that the object outlives the step from reading to counting is the serial library's promise.
using PortHandle = Cv::Ptr<CommsPort>;
static_assert(sizeof(PortHandle) == sizeof(CommsPort*) && std::is_standard_layout_v<PortHandle>);

std::atomic_ref<CommsPort*> pointerIn(PortHandle& handle) {
    return std::atomic_ref<CommsPort*>(reinterpret_cast<CommsPort*&>(handle));
}

}  // namespace

bool Purge(Cv::Ptr<CommsPort> port) {
    if (port) port->clearReceiveQueue();
    return true;
}

namespace Cv {

Cv::Ptr<CommsPort> Console::portHandle() const {
    return {pointerIn(const_cast<PortHandle&>(m_port)).load(std::memory_order_acquire)};
}

void Console::setPortHandle(Cv::Ptr<CommsPort> port) {
    // What `port` gets back is the handle held before; it is released on return.
    auto pointer = pointerIn(port);
    pointer.store(pointerIn(m_port).exchange(pointer.load(std::memory_order_relaxed), std::memory_order_acq_rel),
                  std::memory_order_relaxed);
}

bool Console::open_port() {
    const WideString candidate = chooseCandidate();
    if (!candidate.empty()) {
        LogBoth("Looking for console on port %ls\n", candidate.c_str());
        setPortHandle(
            comms_port_open(candidate, Protocol::baudRate, Protocol::dataBits, Protocol::parity, Protocol::stopBits));
        const Cv::Ptr<CommsPort> port = portHandle();
        // Kept: a port that opened with an error is held without a callback, and counts as open.
        // Test: OpenPort_OpenedWithError_HeldWithoutCallback.
        if (!port || comms_geterr(port) != 0) {
            logOpenFailure();
        } else {
            commsRegisterHandler(&Console::rx_interrupt_char, candidate, 1, true, this);
        }
    }
    return static_cast<bool>(portHandle());
}

void Console::close_port() {
    if (!portHandle()) return;
    commsDeregisterHandler(&Console::rx_interrupt_char, this);
    comms_port_close(portHandle());
    setPortHandle({});
}

}  // namespace Cv
