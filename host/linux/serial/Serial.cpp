// The serial library's functions over the ports that are open, and those that were.
#include "host/core/Serial.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <system_error>

#include "host/api/Comms.h"
#include "host/api/Log.h"
#include "host/core/Events.h"
#include "host/core/Everlasting.h"
#include "host/core/Text.h"
#include "host/linux/serial/Rfc2217.h"
#include "host/linux/serial/SerialHandlers.h"
#include "host/linux/serial/SerialPort.h"
#include "host/linux/serial/SerialPorts.h"
#include "host/linux/serial/Termios.h"

namespace {

using cvhost::SerialHandlers;
using cvhost::SerialPort;
using Ports = std::list<Cv::Ptr<SerialPort>>;

/// Every port is held here until after its end: a handle may be on its way to being copied on another thread.
struct Library {
    std::mutex mutex;
    Ports open;
    Ports closed;
    std::atomic<bool> shut = false;
    std::function<std::string(const std::string&)> finder;
};

Library& library() {
    static cvhost::Everlasting<Library> only;
    return *only;
}

SerialPort* portOf(const Cv::Ptr<CommsPort>& handle) { return static_cast<SerialPort*>(handle.get()); }

bool onlyHeldHere(const Cv::Ptr<SerialPort>& port) { return port->references() == 1; }

/// Moves a closed port to the list of closed ones. It is not released here: `port` holds it. Needs no memory.
void moveToClosed(const Cv::Ptr<SerialPort>& port) {
    Library& all = library();
    const std::lock_guard lock(all.mutex);
    const auto place = std::ranges::find(all.open, port.get(), &Cv::Ptr<SerialPort>::get);
    if (place != all.open.end()) all.closed.splice(all.closed.end(), all.open, place);
}

/// Closes open ports named `name`, and any that only this library still references.
void closePortsInTheWay(const std::string& name) {
    Ports found;
    {
        Library& all = library();
        const std::lock_guard lock(all.mutex);
        std::ranges::copy_if(all.open, std::back_inserter(found),
                             [&](const auto& port) { return onlyHeldHere(port) || port->name() == name; });
    }
    for (const auto& port : found) {
        port->closeNow();
        moveToClosed(port);
    }
}

/// Releases the closed ports that only this library references, except those whose handlers are running: the thread may be
/// waiting for the caller, or be the caller. Returns whether there are none of these.
bool releaseClosed() {
    Ports going;
    bool complete = true;
    Library& all = library();
    {
        const std::lock_guard lock(all.mutex);
        for (auto place = all.closed.begin(); place != all.closed.end();) {
            const auto port = place++;
            const bool inHandler = (*port)->inHandler();
            if (inHandler) complete = false;
            if (onlyHeldHere(*port) && !inHandler) going.splice(going.end(), all.closed, port);
        }
    }
    for (const auto& port : going) port->closeAndJoin();  // its receive thread has ended before it goes
    return complete;
}

cvhost::OpenedTransport openTransport(const std::string& name, const cvhost::LineSettings& settings) {
    const bool known = settings.baud > 0 && settings.dataBits >= 5 && settings.dataBits <= 8 &&
                       std::string_view("NEO").find(settings.parity) != std::string_view::npos && settings.stopBits >= 1 &&
                       settings.stopBits <= 2;
    if (!known) return {.transport = nullptr, .error = EINVAL, .reason = "no such line settings"};
    if (name.starts_with(cvhost::rfc2217Prefix)) return cvhost::openRfc2217(name, settings);
    return cvhost::openTermios(name, settings);
}

Cv::Ptr<CommsPort> notOpen(const std::string& name, int error, const std::string& reason) {
    using Kind = cvhost::PortTrouble::Kind;
    const Kind kind = error == EBUSY ? Kind::busy : Kind::cannotOpen;
    cvhost::publish(cvhost::PortTrouble{.name = name, .kind = kind, .error = error, .reason = reason});
    LogBoth("cannot open %s: %s\n", name.c_str(), reason.c_str());
    return {};
}

}  // namespace

namespace cvhost {

void setPortFinder(std::function<std::string(const std::string&)> finder) { library().finder = std::move(finder); }

void keepPortsShut(bool shut) { library().shut = shut; }

bool releaseClosedPorts() {
    closePortsInTheWay({});
    return releaseClosed();
}

void losePort(std::string_view name, int error) {
    Ports found;
    {
        Library& all = library();
        const std::lock_guard lock(all.mutex);
        std::ranges::copy_if(all.open, std::back_inserter(found), [&](const auto& port) { return port->name() == name; });
    }
    for (const auto& port : found) port->lose(error);
}

void dropSerialHandlers(void* context) { SerialHandlers::instance().removeAllWith(context); }

}  // namespace cvhost

Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>& name, int baud, int dataBits, char parity,
                                   int stopBits) {
    if (library().shut) return {};
    const std::string narrowName = cvhost::narrow(name.view());
    releaseClosed();
    closePortsInTheWay(narrowName);
    const cvhost::LineSettings settings{baud, dataBits, parity, stopBits};
    cvhost::publish(cvhost::PortOpening{narrowName, settings});
    const auto& finder = library().finder;
    const std::string device = finder ? finder(narrowName) : narrowName;
    if (device != narrowName) LogBoth("%s is %s\n", narrowName.c_str(), device.c_str());
    auto opened = openTransport(device, settings);
    if (opened.transport == nullptr) return notOpen(narrowName, opened.error, opened.reason);
    if (opened.error != 0) cvhost::reportRefused(narrowName, settings, opened.error, cvhost::describeError(opened.error));
    const Cv::Ptr<SerialPort> port(new SerialPort(narrowName, settings, std::move(opened.transport), opened.error));
    try {
        port->start();
    } catch (const std::system_error& error) {
        port->closeAndJoin();
        return notOpen(narrowName, error.code().value(), cvhost::describeError(error.code().value()));
    }
    cvhost::SerialPort* const object = port.get();
    Library& all = library();
    const std::lock_guard lock(all.mutex);
    all.open.push_back(port);
    return {object};
}

void comms_port_close(Cv::Ptr<CommsPort> port) {
    if (!port) return;
    portOf(port)->closeAndJoin();
    moveToClosed(Cv::Ptr<SerialPort>(portOf(port)));
}

int comms_geterr(Cv::Ptr<CommsPort> port) { return port ? portOf(port)->error() : EBADF; }

int comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte) {
    return port && byte != nullptr && portOf(port)->nextByte(*byte, true) ? 0 : -1;
}

int comms_peekc(Cv::Ptr<CommsPort> port, unsigned char* byte) {
    return port && byte != nullptr && portOf(port)->nextByte(*byte, false) ? 0 : -1;
}

int comms_putchs(Cv::Ptr<CommsPort> port, unsigned char* bytes, int count) {
    if (!port || count < 0 || (bytes == nullptr && count != 0)) return -1;
    return portOf(port)->send({bytes, static_cast<std::size_t>(count)}) ? 0 : -1;
}

void comms_set_rts(Cv::Ptr<CommsPort> port, int level) {
    if (port) portOf(port)->setRts(level != 0);
}

bool commsRegisterHandler(bool (*callback)(void*), LightweightString<wchar_t> name, int bytesPerCall, bool everyByte,
                          void* context) {
    if (callback == nullptr || bytesPerCall != 1 || !everyByte) return false;
    const std::string wanted = cvhost::narrow(name.view());
    Library& all = library();
    Cv::Ptr<SerialPort> port;
    {
        const std::lock_guard lock(all.mutex);
        const auto found =
            std::ranges::find_if(all.open, [&](const auto& open) { return open->name() == wanted && open->error() == 0; });
        if (found != all.open.end()) port = *found;
    }
    if (!port) {
        SerialHandlers::instance().forget(callback, context);
        return false;
    }
    SerialHandlers::instance().add(*port, callback, context);
    if (port->error() == 0) return true;
    SerialHandlers::instance().forget(callback, context);  // its end has passed it by, perhaps
    return false;
}

void commsDeregisterHandler(bool (*callback)(void*), void* context) { SerialHandlers::instance().remove(callback, context); }
