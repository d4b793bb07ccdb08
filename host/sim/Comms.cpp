// The serial library's functions, in the world there is.
#include "host/api/Comms.h"

#include <cerrno>
#include <string>

#include "host/core/Serial.h"
#include "host/core/Text.h"
#include "host/sim/World.h"

namespace {

using sim::Kind;
using sim::Port;
using sim::World;

Port* portOf(const Cv::Ptr<CommsPort>& handle) { return static_cast<Port*>(handle.get()); }

/// A scheduling point; the world that it is in.
World& enter(const char* function) {
    World& world = *World::current();
    world.scheduler().point(function);
    return world;
}

World& enter(const char* function, const std::string& call) {
    World::current()->record(Kind::call, call);
    return enter(function);
}

bool takeByte(const Cv::Ptr<CommsPort>& handle, unsigned char* byte, bool take) {
    Port* port = portOf(handle);
    if (port == nullptr || byte == nullptr || port->error != 0 || port->queue.empty()) return false;
    *byte = port->queue.front();
    if (take) port->queue.pop_front();
    return true;
}

}  // namespace

Cv::Ptr<CommsPort> comms_port_open(const LightweightString<wchar_t>& name, int baud, int dataBits, char parity,
                                   int stopBits) {
    const std::string wanted = cvhost::narrow(name.view());
    World& world =
        enter("comms_port_open", "comms_port_open(\"" + wanted + "\", " + std::to_string(baud) + ", " +
                                     std::to_string(dataBits) + ", '" + parity + "', " + std::to_string(stopBits) + ")");
    const Cv::Ptr<Port> port = world.serial().open(wanted);
    if (port) port->line.setLine({.baud = baud, .dataBits = dataBits, .parity = parity, .stopBits = stopBits});
    return {port.get()};
}

void comms_port_close(Cv::Ptr<CommsPort> port) {
    World& world = enter("comms_port_close", "comms_port_close()");
    if (port) world.serial().close(Cv::Ptr<Port>(portOf(port)));
}

int comms_geterr(Cv::Ptr<CommsPort> port) {
    enter("comms_geterr", "comms_geterr()");
    return port ? portOf(port)->error : EBADF;
}

int comms_getc(Cv::Ptr<CommsPort> port, unsigned char* byte) {
    enter("comms_getc");
    return takeByte(port, byte, true) ? 0 : -1;
}

int comms_peekc(Cv::Ptr<CommsPort> port, unsigned char* byte) {
    enter("comms_peekc");
    return takeByte(port, byte, false) ? 0 : -1;
}

int comms_putchs(Cv::Ptr<CommsPort> port, unsigned char* bytes, int count) {
    enter("comms_putchs");
    if (!port || bytes == nullptr || count < 0 || portOf(port)->error != 0) return -1;
    return portOf(port)->line.send({bytes, static_cast<std::size_t>(count)}) ? 0 : -1;
}

void comms_set_rts(Cv::Ptr<CommsPort> port, int level) {
    World& world = enter("comms_set_rts");
    if (!port) return;
    sim::Line& line = portOf(port)->line;
    while (portOf(port)->error == 0 && line.sendingEnds() > world.now()) {
        world.scheduler().wait(nullptr, line.sendingEnds(), "comms_set_rts");
    }
    if (portOf(port)->error == 0) line.setRts(level);
}

bool commsRegisterHandler(bool (*callback)(void*), LightweightString<wchar_t> name, int bytesPerCall, bool everyByte,
                          void* context) {
    const std::string wanted = cvhost::narrow(name.view());
    World& world = enter("commsRegisterHandler", "commsRegisterHandler(\"" + wanted + "\", " + std::to_string(bytesPerCall) +
                                                     ", " + (everyByte ? "true" : "false") + ")");
    if (callback == nullptr || bytesPerCall != 1 || !everyByte) return false;
    return world.serial().addHandler(wanted, callback, context);
}

void commsDeregisterHandler(bool (*callback)(void*), void* context) {
    enter("commsDeregisterHandler", "commsDeregisterHandler()").serial().removeHandler(callback, context);
}

void cvhost::dropSerialHandlers(void* context) {
    if (World* world = World::current()) world->serial().removeHandlersWith(context);
}
