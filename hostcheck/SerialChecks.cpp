#include <cstdio>
#include <cstring>
#include <string_view>

#include "host/api/OS.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Options.h"
#include "hostcheck/Port.h"

namespace hostcheck {
namespace {

Outcome listed() {
    SerialPortList ports;
    const WideString own(L"hostcheck keeps this");
    ports[own] = WideString(L"own");
    OS().serialPorts().list(ports);
    if (ports.find(own) == ports.end()) return fail("what the list held is gone");
    for (const auto& [name, description] : ports) {
        if (name.empty()) return fail("a port has no name");
    }
    return pass();
}

Outcome notThere() {
    const auto port = comms_port_open(WideString(L"/dev/hostcheck-no-such-port"), baudRate, 8, 'N', 1);
    return port ? fail("a port by the name /dev/hostcheck-no-such-port was opened") : pass();
}

Outcome nullHandles() {
    const Cv::Ptr<CommsPort> none;
    unsigned char byte = 'x';
    comms_set_rts(none, 1);
    comms_port_close(none);
    if (comms_getc(none, &byte) != -1) return fail("comms_getc answers other than -1");
    if (comms_peekc(none, &byte) != -1) return fail("comms_peekc answers other than -1");
    if (comms_putchs(none, &byte, 1) == 0) return fail("comms_putchs answers 0");
    return comms_geterr(none) != 0 ? pass() : fail("comms_geterr answers 0");
}

Outcome errorClear() {
    const Port port;
    if (!port.handle()) return notTried("the port %ls cannot be opened", consolePort().c_str());
    const int error = comms_geterr(port.handle());
    return error == 0 ? pass() : fail("comms_geterr answers %d for a port just opened", error);
}

Outcome settings() {
    Port port;
    HOSTCHECK_NEEDS(port.hasDesk(), port);
    Text seen;
    if (!port.ask(seen, "settings\n")) return notTried("the desk does not say its settings");
    if (std::string_view(seen.c_str()) == "unknown") return notTried("the desk cannot see the line's settings");
    Text answer;
    port.ask(answer, "has 9600 8N1\n");
    if (std::string_view(answer.c_str()) == "has") return pass();
    return fail("9600 8N1 was asked for, and the line has %s", seen.c_str());
}

Outcome oddSettings() {
    {
        const auto port = comms_port_open(consolePort(), 31337, 7, 'E', 2);
        if (!port || comms_geterr(port) != 0) return pass();
        unsigned char lineEnd = '\n';
        comms_putchs(port, &lineEnd, 1);  // some lines show their settings only with a byte
        sleepFor(milliseconds(50));
        comms_port_close(port);
    }
    Port port;
    HOSTCHECK_NEEDS(port.hasDesk(), port);
    Text seen;
    if (!port.ask(seen, "seen 31337 7E2\n") || std::string_view(seen.c_str()) == "unknown")
        return notTried("the desk cannot see the line's settings");
    return std::string_view(seen.c_str()) == "seen"
               ? pass()
               : fail("31337 7E2 was asked for, the port reports no error, and the line did not have these settings");
}

Outcome bytesIn() {
    constexpr unsigned count = 1024;
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    port.request(count);
    for (unsigned i = 0; i < count; ++i) {
        int byte = -1;
        if (!waitUntil([&] { return (byte = port.take()) >= 0; }, atOnce))
            return fail("byte %u of %u has not come", i, count);
        if (byte != static_cast<int>(i % 256)) return fail("byte %u is 0x%02X, not 0x%02X", i, byte, i % 256);
    }
    return pass();
}

std::uint32_t hashOf(std::span<const unsigned char> bytes) {
    std::uint32_t hash = 2166136261U;
    for (const unsigned char byte : bytes) hash = (hash ^ byte) * 16777619U;
    return hash;
}

Outcome bytesOut() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    unsigned char bytes[512];
    for (unsigned i = 0; i < sizeof bytes; ++i) {
        bytes[i] = static_cast<unsigned char>(i < 256 ? i : i * 37 + options().seed);
    }
    if (!port.hasDesk()) {
        port.send(bytes);
        for (const unsigned char sent : bytes) {
            int byte = -1;
            waitUntil([&] { return (byte = port.take()) >= 0; }, atOnce);
            if (byte != sent) return fail("0x%02X came back as %d", sent, byte);
        }
        return pass();
    }
    Text answer;
    Text wanted;
    wanted.add("took %zu %08x", sizeof bytes, hashOf(bytes));
    port.send("take 512\n");
    port.send(bytes);
    if (!port.readLine(answer)) return fail("512 bytes were sent, and fewer have arrived");
    return std::string_view(answer.c_str()).starts_with(wanted.c_str())
               ? pass()
               : fail("the desk %s, not %s", answer.c_str(), wanted.c_str());
}

Outcome sent() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    const int answer = port.send("echo x\n");
    Text echo;
    if (!port.readLine(echo)) return notTried("the bytes have not arrived");
    return answer == 0 ? pass() : fail("comms_putchs answers %d, and all bytes have arrived", answer);
}

Outcome answers() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    unsigned char byte = 0;
    if (const int answer = comms_getc(port.handle(), &byte); answer != -1)
        return fail("comms_getc answers %d while nothing is there", answer);
    if (const int answer = comms_peekc(port.handle(), &byte); answer != -1)
        return fail("comms_peekc answers %d while nothing is there", answer);
    port.send("echo abc\n");
    int answer = -1;
    waitUntil([&] { return (answer = comms_peekc(port.handle(), &byte)) != -1; }, atOnce);
    if (answer != 0) return fail("comms_peekc answers %d when a byte has come", answer);
    answer = comms_getc(port.handle(), &byte);
    return answer == 0 ? pass() : fail("comms_getc answers %d when a byte has come", answer);
}

Outcome getAtOnce() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    const auto begun = now();
    for (int i = 0; i < 50; ++i) {
        port.take();
        if (now() - begun >= atOnce) return fail("%d calls without a byte took more than 3 s", i + 1);
    }
    return pass();
}

Outcome peek() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    port.send("echo pq\n");
    if (!port.hasDesk()) waitUntil([&] { return port.take() == ' '; }, atOnce);
    unsigned char first = 0;
    unsigned char second = 0;
    if (!waitUntil([&] { return comms_peekc(port.handle(), &first) == 0; }, atOnce)) return notTried("no byte has come");
    if (comms_peekc(port.handle(), &second) != 0 || first != second)
        return fail("two looks at the next byte show 0x%02X and 0x%02X", first, second);
    const int taken = port.take();
    return taken == first ? pass() : fail("0x%02X was shown, and %d was taken", first, taken);
}

Outcome clear() {
    Port port;
    HOSTCHECK_NEEDS(port.answers(), port);
    const unsigned before = port.calls();
    port.request(32);
    if (!waitUntil([&] { return port.calls() >= before + 32; }, atOnce)) return notTried("32 bytes have not come");
    sleepFor(milliseconds(20));
    port.handle()->clearReceiveQueue();
    const int byte = port.take();
    return byte < 0 ? pass() : fail("a byte (0x%02X) is left", byte);
}

Outcome rts() {
    Port port;
    HOSTCHECK_NEEDS(port.hasDesk() && port.hasRts(), port);
    Text answer;
    int changes[2] = {};
    int level = 0;
    port.ask(answer, "rts\n");
    std::sscanf(answer.c_str(), "rts %*d %d", &changes[0]);
    comms_set_rts(port.handle(), 0);
    port.ask(answer, "rts\n");
    std::sscanf(answer.c_str(), "rts %d", &level);
    if (level != 0) return fail("after comms_set_rts(port, 0) RTS is high");
    comms_set_rts(port.handle(), 1);
    port.ask(answer, "rts\n");
    std::sscanf(answer.c_str(), "rts %d %d", &level, &changes[1]);
    if (level != 1) return fail("after comms_set_rts(port, 1) RTS is low");
    return changes[1] - changes[0] <= 3 ? pass() : fail("RTS changed %d times for two calls", changes[1] - changes[0]);
}

/// Sends 10 bytes, drives RTS low, sends 10 more. How many of them had arrived when RTS fell: -1 none was seen to fall.
int bytesBeforeRts(Port& port) {
    Text answer;
    comms_set_rts(port.handle(), 1);
    port.send("take 20\n");
    port.send("0123456789");
    comms_set_rts(port.handle(), 0);
    port.send("abcdefghij");
    port.readLine(answer);
    comms_set_rts(port.handle(), 1);
    const char* const edge = std::strstr(answer.c_str(), ":0");
    if (edge == nullptr) return -1;
    const char* begin = edge;
    while (begin != answer.c_str() && begin[-1] >= '0' && begin[-1] <= '9') --begin;
    int position = -1;
    std::sscanf(begin, "%d", &position);
    return position;
}

Outcome rtsAfterData() {
    Port port;
    HOSTCHECK_NEEDS(port.hasDesk() && port.hasRts(), port);
    const int position = bytesBeforeRts(port);
    if (position >= 0 && position < 10) return fail("RTS fell when %d of the 10 bytes sent before had arrived", position);
    return pass();
}

Outcome dataAfterRts() {
    Port port;
    HOSTCHECK_NEEDS(port.hasDesk() && port.hasRts(), port);
    Text answer;
    int before = 0;
    int after = 0;
    port.ask(answer, "rts\n");
    std::sscanf(answer.c_str(), "rts %*d %d", &before);
    const int position = bytesBeforeRts(port);
    port.ask(answer, "rts\n");
    std::sscanf(answer.c_str(), "rts %*d %d", &after);
    if (position > 10) return fail("RTS fell when %d bytes had arrived, of which 10 were sent before", position);
    if (position < 0 && after != before) return fail("RTS fell when all 20 bytes had arrived, of which 10 were sent before");
    return position < 0 ? notTried("RTS does not change") : pass();
}

constexpr Check checks[] = {
    {"serial-list", &listed},
    {"serial-null", &nullHandles},
    {"serial-open-null", &notThere},
    {"serial-error-clear", &errorClear},
    {"serial-settings", &settings},
    {"serial-bytes-in", &bytesIn},
    {"serial-bytes-out", &bytesOut},
    {"serial-sent", &sent},
    {"serial-getc", &answers},
    {"serial-at-once", &getAtOnce},
    {"serial-peek", &peek},
    {"serial-clear", &clear},
    {"serial-rts", &rts},
    {"serial-rts-after-data", &rtsAfterData},
    {"serial-data-after-rts", &dataAfterRts},
    {"serial-odd-settings", &oddSettings},
};

}  // namespace

std::span<const Check> serialChecks() { return checks; }

}  // namespace hostcheck
