// bench_kernel_tty ROUNDS SAMPLES: what bench_latency measures, on serial ports of a genuine driver; and the way to the
// kernel's input device.
//
// It is the first process of a virtual machine, which tools/test/kernel_machine.py boots, and prints one line of JSON.
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "bench/LatencyRounds.h"
#include "bench/MapRounds.h"
#include "tests/kernel/Guest.h"

int main(int count, char** arguments) {
    bool done = false;
    try {
        kernel_test::mountFileSystems();
        for (const std::string& module : kernel_test::modules()) kernel_test::loadModule(module);
        if (count != 3) throw std::runtime_error("ROUNDS and SAMPLES are missing");
        const int rounds = std::atoi(arguments[1]), samples = std::atoi(arguments[2]);
        using bench::LineKind, bench::Unit;
        const nlohmann::json results{
            {"release", kernel_test::readLine("/proc/sys/kernel/osrelease")},
            {"tty byte", bench::measureByTurns(LineKind::usb, Unit::byte, rounds, samples)},
            {"tty packet", bench::measureByTurns(LineKind::usb, Unit::packet, rounds, samples)},
            {"tty key", bench::measureByTurns(LineKind::usb, Unit::key, rounds, samples)},
            {"timer byte", bench::measureByTurns(LineKind::usbWithTimer, Unit::byte, rounds, samples)},
            {"map", bench::measureMapByTurns(rounds, samples)}};
        std::printf("%s\n", results.dump().c_str());
        done = true;
    } catch (const std::exception& error) {
        std::printf("bench_kernel_tty: %s\n", error.what());
    }
    std::fflush(stdout);
    kernel_test::powerOff(done);
}
