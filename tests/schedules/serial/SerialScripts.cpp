#include "host/linux/serial/SerialPorts.h"
#include "tests/schedules/Memory.h"
#include "tests/schedules/Scripts.h"
#include "tests/schedules/serial/SerialStage.h"

namespace schedules {
namespace {

using cvhost::PortState;

/// A port is closed while bytes arrive: no call comes after, and none is running.
void closeAgainstByte(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    SerialHandler handler;
    const auto port = SerialStage::open();
    handler.listen();
    stage.play({{"owner",
                 [&] {
                     comms_port_close(port);
                     handler.retire();
                 }},
                {"line", [&] { stage.arrive("ab"); }}});
}

/// A handler is deregistered while bytes arrive.
void deregisterAgainstByte(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    SerialHandler handler;
    const auto port = SerialStage::open();
    handler.listen();
    stage.play({{"owner", [&] { handler.drop(); }}, {"line", [&] { stage.arrive("ab"); }}});
    comms_port_close(port);
}

/// A handler is registered once more while bytes arrive: each of them is called for.
void registerAgainstByte(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    SerialHandler handler;
    const auto port = SerialStage::open();
    handler.listen();
    stage.play({{"owner", [&] { SerialStage::require(handler.listen(), "it cannot be registered once more"); }},
                {"line", [&] { stage.arrive("ab"); }}});
    SerialStage::require(handler.calls() == 2, "a byte was called for " + std::to_string(handler.calls()) + " times");
    handler.drop();
    comms_port_close(port);
}

/// A handler is registered with another port while bytes arrive at both.
void moveAgainstBytes(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    SerialHandler handler;
    const auto first = SerialStage::open(0);
    const auto second = SerialStage::open(1);
    handler.listen(0);
    stage.play({{"owner", [&] { handler.listen(1); }}, {"line", [&] {
                                                            stage.arrive("a", 0);
                                                            stage.arrive("b", 1);
                                                        }}});
    handler.drop();
    comms_port_close(first);
    comms_port_close(second);
}

/// A handler closes its port, and another thread does.
void closeFromHandler(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    const auto port = SerialStage::open();
    SerialHandler handler([&] { comms_port_close(port); });
    handler.listen();
    stage.play({{"owner", [&] { comms_port_close(port); }}, {"line", [&] { stage.arrive("ab"); }}});
    SerialStage::require(handler.calls() <= 1, "the handler was called after its port was closed");
}

/// Two threads close a port.
void twoClosings(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    const auto port = SerialStage::open();
    stage.play({{"one", [&] { comms_port_close(port); }}, {"other", [&] { comms_port_close(port); }}});
}

/// The machine takes the port away while it is closed.
void loseAgainstClose(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    const auto port = SerialStage::open();
    stage.play({{"owner", [&] { comms_port_close(port); }}, {"machine", [&] { cvhost::losePort("one", ENODEV); }}});
    const int wanted = stage.reported(PortState::lost) == 0 ? EBADF : ENODEV;
    SerialStage::require(comms_geterr(port) == wanted, "the port's error is not what was reported");
}

/// The line is pulled out while the port is closed, and a byte is sent.
void pullAgainstClose(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    const auto port = SerialStage::open();
    stage.play({{"owner", [&] { comms_port_close(port); }}, {"line", [&] { stage.pull(); }}, {"editor", [&] {
                                                                                                  unsigned char byte = 'x';
                                                                                                  comms_putchs(port, &byte,
                                                                                                               1);
                                                                                              }}});
}

/// A byte is sent while the port is closed: it goes out if sending says so.
void sendAgainstClose(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    const auto port = SerialStage::open();
    bool sent = false;
    stage.play({{"owner", [&] { comms_port_close(port); }}, {"editor", [&] {
                                                                 unsigned char byte = 'x';
                                                                 sent = comms_putchs(port, &byte, 1) == 0;
                                                             }}});
    SerialStage::require(!sent || stage.line().sent == "x", "a byte that was sent is not on the line");
}

/// A port is opened again while a handler of the earlier one runs, and its end is released.
void openAgainstHandler(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    SerialHandler handler;
    Cv::Ptr<CommsPort> port = SerialStage::open();
    handler.listen();
    stage.play({{"owner",
                 [&] {
                     port = SerialStage::open();
                     handler.listen();
                     cvhost::releaseClosedPorts();
                 }},
                {"line", [&] { stage.arrive("ab"); }}});
    handler.drop();
    comms_port_close(port);
}

/// A handler closes its port, lets it go and waits for another thread, which releases what is closed.
void releaseAgainstHandler(sim::ScheduleSearch& search) {
    SerialStage stage(search);
    Cv::Ptr<CommsPort> port = SerialStage::open();
    bool released = false;
    SerialHandler handler([&] {
        comms_port_close(port);
        port = {};
        while (!released) System::current()->scheduler().wait(&released, std::nullopt, "wait for the owner");
    });
    handler.listen();
    stage.play({{"owner",
                 [&] {
                     cvhost::releaseClosedPorts();
                     released = true;
                     System::current()->scheduler().wake(&released);
                 }},
                {"line", [&] { stage.arrive("ab"); }}});
}

constexpr Script all[] = {
    {"close-against-byte", closeAgainstByte, 2},           {"deregister-against-byte", deregisterAgainstByte, 2},
    {"register-against-byte", registerAgainstByte, 2},     {"move-against-bytes", moveAgainstBytes, 1},
    {"close-from-handler", closeFromHandler, 2},           {"two-closings", twoClosings, 2},
    {"lose-against-close", loseAgainstClose, 2},           {"pull-against-close", pullAgainstClose, 2},
    {"send-against-close", sendAgainstClose, 2},           {"open-against-handler", openAgainstHandler, 1},
    {"release-against-handler", releaseAgainstHandler, 2},
};

}  // namespace

std::span<const Script> scripts() { return all; }

/// The library keeps a seat for as many handlers as there once were.
void prepare() {
    sim::ScheduleSearch search(0);
    search.next();
    SerialStage stage(search);
    const auto port = SerialStage::open();
    SerialHandler handlers[4];
    for (SerialHandler& handler : handlers) handler.listen();
    for (SerialHandler& handler : handlers) handler.drop();
    comms_port_close(port);
}

const char* const command = "schedules serial";

}  // namespace schedules
