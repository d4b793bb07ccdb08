// What the kernel tests share: cvhost looking for a console on the machine's own serial ports.
#pragma once

#include <csignal>
#include <string>

#include "tests/apps/CvhostRig.h"
#include "tests/kernel/Adapter.h"

namespace kernel_test {

using apps_test::Arguments;
using apps_test::Json;
using apps_test::Process;

/// The product texts: two by which the driver knows a console's adapter, and another one's.
inline const std::string usbSerialPort = "USB Serial Port";
inline const std::string corvane = "Corvane Console";
inline const std::string foreign = "Some UART";

class KernelTest : public apps_test::CvhostTest {
protected:
    Process::Setup host(const Arguments& more = {}) const {
        Arguments arguments{"--events", "json", "--wire"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return cvhost(arguments);
    }
    /// Waits until start-up has sent its last command to a console of version 7.
    static void waitUntilStarted(Process& host) {
        waitForAll(host, {{{"event", "active"}},
                          {{"event", "wire"}, {"dir", "tx"}, {"bytes", "F2 "}},
                          {{"event", "wire"}, {"dir", "tx"}, {"bytes", "X "}}});
    }
    static void waitUntilOpen(Process& host, const std::string& port) {
        waitFor(host, {{"event", "port"}, {"name", port}, {"state", "open"}});
    }
    static void waitUntilLost(Process& host, const std::string& port) {
        waitFor(host, {{"event", "port"}, {"name", port}, {"state", "lost"}});
    }
    /// Ends it as Ctrl-C does; its exit status.
    static int end(Process& host) {
        host.signal(SIGINT);
        return host.wait();
    }
};

}  // namespace kernel_test
