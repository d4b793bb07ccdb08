#include "hostcheck/Port.h"

#include <cstring>
#include <string_view>

#include "host/api/OS.h"
#include "host/api/Settings.h"

namespace hostcheck {

WideString consolePort() {
    SerialPortList ports;
    OS().serialPorts().list(ports);
    for (const std::wstring_view text : {L"USB Serial Port", L"Corvane"}) {
        for (const auto& [name, description] : ports) {
            if (description.contains(text) && !name.empty()) return name;
        }
    }
    return Cv::WStringFromAscii(config_string("console_port", "/dev/ttyUSB0").c_str());
}

Cv::Ptr<CommsPort> openConsolePort() { return comms_port_open(consolePort(), baudRate, 8, 'N', 1); }

Port::Port() : m_name(consolePort()), m_handle(comms_port_open(m_name, baudRate, 8, 'N', 1)) {
    if (!m_handle) return;
    registerAgain();
    for (int tries = 0; tries < 2 && !greet(); ++tries) {
    }
}

Port::~Port() { close(); }

bool Port::registerAgain() { return commsRegisterHandler(&Port::received, m_name, 1, true, this); }

void Port::deregister() { commsDeregisterHandler(&Port::received, this); }

void Port::close() {
    if (!m_handle) return;
    deregister();
    comms_port_close(m_handle);
    m_handle = {};
}

/// The first line ends whatever command was begun before.
bool Port::greet() {
    Text line;
    send("\nhello\n");
    while (readLine(line)) {
        const std::string_view said = line.c_str();
        m_adapter = said == "corvane-check 1 adapter";
        m_rts = m_adapter || said == "corvane-check 1 rts";
        if (m_rts || said == "corvane-check 1 no-rts") m_farEnd = FarEnd::desk;
        if (said == "hello") m_farEnd = FarEnd::loopback;
        if (answers()) return true;
    }
    return false;
}

int Port::send(std::span<const unsigned char> bytes) {
    return comms_putchs(m_handle, const_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
}

int Port::send(const char* text) { return send({reinterpret_cast<const unsigned char*>(text), std::strlen(text)}); }

int Port::take() {
    unsigned char byte = 0;
    if (comms_getc(m_handle, &byte) != 0) return -1;
    ++m_taken;
    return byte;
}

void Port::settle() {
    waitUntil([this] { return m_calls >= m_taken; }, atOnce);
}

bool Port::readLine(Text& line) {
    line.clear();
    const auto ended = [&] {
        for (int byte = take(); byte >= 0; byte = take()) {
            if (byte == '\n' && line.length() != 0) return true;
            if (byte >= ' ') line.add("%c", byte);
        }
        return false;
    };
    return waitUntil(ended, atOnce);
}

bool Port::ask(Text& answer, const char* command) {
    send(command);
    return readLine(answer);
}

void Port::request(unsigned count) {
    if (hasDesk()) {
        Text command;
        command.add("values %u\n", count);
        send(command.c_str());
        return;
    }
    unsigned char values[256];
    for (unsigned i = 0; i < sizeof values; ++i) values[i] = static_cast<unsigned char>(i);
    for (; count != 0; count -= std::min<unsigned>(count, sizeof values)) {
        send(std::span(values).first(std::min<std::size_t>(count, sizeof values)));
    }
}

void Port::setOnCall(OnCall onCall, void* context) {
    m_context = context;
    m_onCall = onCall;
}

bool Port::received(void* context) {
    Port& port = *static_cast<Port*>(context);
    ++port.m_calls;
    if (const OnCall onCall = port.m_onCall; onCall != nullptr) onCall(port, port.m_context);
    return true;
}

Outcome withoutDesk(const Port& port) {
    if (!port.handle()) return notTried("the port %ls cannot be opened", consolePort().c_str());
    if (!port.answers()) return notTried("nothing answers at %ls; start cvdesk --check there", consolePort().c_str());
    if (!port.hasDesk()) return notTried("a loop-back plug cannot show it; it needs cvdesk --check");
    if (port.isAdapter()) return notTried("a USB adapter cannot do this; it needs cvdesk --check --rfc2217");
    return notTried("this line has no RTS");
}

}  // namespace hostcheck
