// Serial ports and their receive callbacks.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "host/api/Comms.h"
#include "host/linux/serial/SerialHandlers.h"
#include "host/linux/serial/SerialPort.h"
#include "host/linux/serial/SerialPorts.h"
#include "tests/hostcheck/broken/Broken.h"

using broken::breaks;
using broken::sleepMs;
using Port = Cv::Ptr<CommsPort>;

namespace {

int realError(const Port& port) { return broken::next<int (*)(Port)>("_Z12comms_geterrN2Cv3PtrI9CommsPortEE")(port); }

int realSend(const Port& port, unsigned char* bytes, int count) {
    return broken::next<int (*)(Port, unsigned char*, int)>("_Z12comms_putchsN2Cv3PtrI9CommsPortEEPhi")(port, bytes, count);
}

int realTake(const Port& port, unsigned char* byte) {
    return broken::next<int (*)(Port, unsigned char*)>("_Z10comms_getcN2Cv3PtrI9CommsPortEEPh")(port, byte);
}

void realRts(const Port& port, int level) {
    broken::next<void (*)(Port, int)>("_Z13comms_set_rtsN2Cv3PtrI9CommsPortEEi")(port, level);
}

struct NoPort final : CommsPort {
    void clearReceiveQueue() noexcept override {}
};

/// What waits to be done later than it should be.
struct Late {
    std::mutex lock;
    Port port;
    std::string bytes;
    int rts = -1;

    void send() {
        if (bytes.empty()) return;
        realSend(port, reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
        bytes.clear();
    }
};
Late& late() {
    static Late& only = *new Late;
    return only;
}

void sendLate() {
    if (!breaks("serial-rts-after-data")) return;
    const std::lock_guard held(late().lock);
    late().send();
}

using Callback = bool (*)(void*);

/// A registration that passes calls on as this host likes.
struct Registration {
    Callback callback;
    void* context;
    std::atomic<unsigned> calls = 0;
};

struct Registrations {
    std::mutex lock;
    std::vector<Registration*> all;  ///< kept for good: a call may be on its way
};
Registrations& registrations() {
    static Registrations& only = *new Registrations;
    return only;
}

bool callOn(Registration& entry) {
    broken::inCallback = true;
    const bool answer = entry.callback(entry.context);
    broken::inCallback = false;
    return answer;
}

bool passOn(void* context) {
    Registration& entry = *static_cast<Registration*>(context);
    const unsigned number = ++entry.calls;
    if (breaks("serial-call-each-byte") && number > 32 && number % 8 == 0) return true;
    if (breaks("serial-call-one-thread") && number > 32 && number % 2 == 0) {
        bool answer = false;
        std::thread([&] { answer = callOn(entry); }).join();
        return answer;
    }
    if (breaks("serial-call-alone") && number > 32 && number % 4 == 0) {
        std::atomic<bool> begun = false;
        std::thread other([&] {
            begun = true;
            callOn(entry);
        });
        while (!begun) std::this_thread::yield();
        callOn(entry);
        other.join();
        return true;
    }
    return callOn(entry);
}

const char* const registerName = "_Z20commsRegisterHandlerPFbPvE17LightweightStringIwEibS_";
const char* const deregisterName = "_Z22commsDeregisterHandlerPFbPvES_";

void deregisterAll(Callback callback, void* context, bool wait) {
    std::vector<Registration*> found;
    {
        const std::lock_guard held(registrations().lock);
        for (Registration* entry : registrations().all) {
            if (entry->callback == callback && entry->context == context) found.push_back(entry);
        }
    }
    for (Registration* entry : found) {
        if (wait)
            broken::next<void (*)(Callback, void*)>(deregisterName)(&passOn, entry);
        else
            cvhost::SerialHandlers::instance().forget(&passOn, entry);
    }
}

struct LastOpened {
    std::mutex lock;
    std::wstring name;
    Port port;
};
LastOpened& lastOpened() {
    static LastOpened& only = *new LastOpened;
    return only;
}

}  // namespace

Port comms_port_open(const LightweightString<wchar_t>& name, int baud, int dataBits, char parity, int stopBits) {
    sendLate();
    if (breaks("serial-settings") && baud == 9600) baud = 19200;
    if (breaks("serial-settings/stop-bits")) stopBits = 2;
    if (breaks("serial-odd-settings")) baud = 9600, dataBits = 8, parity = 'N', stopBits = 1;
    LastOpened& last = lastOpened();
    if (breaks("serial-reopen")) {
        const std::lock_guard held(last.lock);
        if (last.port && last.name == name.view() && realError(last.port) == 0) return last.port;
    }
    using Open = Port (*)(const LightweightString<wchar_t>&, int, int, char, int);
    Port port =
        broken::next<Open>("_Z15comms_port_openRK17LightweightStringIwEiici")(name, baud, dataBits, parity, stopBits);
    if (!port && breaks("serial-open-null")) return {new NoPort};
    if (breaks("serial-reopen")) {
        const std::lock_guard held(last.lock);
        last.name = name.view();
        last.port = port;
    }
    return port;
}

void comms_port_close(Port port) {
    sendLate();
    if (breaks("keys-exit") && broken::inCallback && broken::handlerDepth != 0) sleepMs(5000);
    broken::next<void (*)(Port)>("_Z16comms_port_closeN2Cv3PtrI9CommsPortEE")(port);
    if (breaks("serial-closed-lives")) {
        std::thread([] {
            sleepMs(5);
            cvhost::releaseClosedPorts();
        }).detach();
    }
}

int comms_geterr(Port port) {
    const int error = realError(port);
    if (breaks("serial-null") && !port) return 0;
    if (breaks("serial-error-clear") && error == 0) return 5;
    if (breaks("serial-closed") && port && error == EBADF) return 0;
    if (breaks("serial-lost") && port && error != EBADF) return 0;
    return error;
}

int comms_getc(Port port, unsigned char* byte) {
    static std::atomic<unsigned> taken = 0;
    static std::atomic<unsigned> tried = 0;
    sendLate();
    if (breaks("serial-call-after-byte") && broken::inCallback && ++tried % 16 == 0) return -1;
    int answer = realTake(port, byte);
    if (answer == 0 && breaks("serial-bytes-in") && *byte == 0x11) answer = realTake(port, byte);
    if (answer == 0 && breaks("serial-flood") && ++taken % 20'000 == 0) answer = realTake(port, byte);
    if (answer == -1 && breaks("serial-getc") && port && realError(port) == 0) return 1;
    if (answer == -1 && breaks("serial-at-once")) sleepMs(80);
    return answer;
}

int comms_peekc(Port port, unsigned char* byte) {
    sendLate();
    if (breaks("serial-peek")) return realTake(port, byte);
    return broken::next<int (*)(Port, unsigned char*)>("_Z11comms_peekcN2Cv3PtrI9CommsPortEEPh")(port, byte);
}

int comms_putchs(Port port, unsigned char* bytes, int count) {
    if (count <= 0 || !port || realError(port) != 0) return realSend(port, bytes, count);
    std::string changed(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    if (breaks("serial-bytes-out")) {
        for (char& letter : changed) letter = letter == 0x13 ? ' ' : letter;
    }
    auto* const data = reinterpret_cast<unsigned char*>(changed.data());
    if (breaks("serial-rts-after-data") && count == 10) {
        const std::lock_guard held(late().lock);
        late().send();
        late().port = port;
        late().bytes = changed;
        return 0;
    }
    if (breaks("serial-writers")) {
        for (int i = 0; i < count; ++i) {
            if (realSend(port, data + i, 1) != 0) return -1;
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        return 0;
    }
    const int answer = realSend(port, data, count);
    if (breaks("serial-data-after-rts")) {
        const std::lock_guard held(late().lock);
        if (const int level = std::exchange(late().rts, -1); level >= 0) realRts(port, level);
    }
    return breaks("serial-sent") ? count : answer;
}

void comms_set_rts(Port port, int level) {
    if (breaks("serial-rts")) return;
    if (breaks("serial-data-after-rts") && port) {
        const std::lock_guard held(late().lock);
        late().rts = level;
        return;
    }
    realRts(port, level);
}

bool commsRegisterHandler(Callback callback, LightweightString<wchar_t> name, int bytesPerCall, bool everyByte,
                          void* context) {
    if (!breaks("serial-register-replaces")) deregisterAll(callback, context, false);
    auto* const entry = new Registration{.callback = callback, .context = context};
    {
        const std::lock_guard held(registrations().lock);
        registrations().all.push_back(entry);
    }
    using Register = bool (*)(Callback, LightweightString<wchar_t>, int, bool, void*);
    return broken::next<Register>(registerName)(&passOn, name, bytesPerCall, everyByte, entry);
}

void commsDeregisterHandler(Callback callback, void* context) {
    if (breaks("serial-deregister-last")) return;
    if (breaks("serial-deregister-itself") && broken::inCallback) sleepMs(5000);
    deregisterAll(callback, context, !breaks("serial-deregister-waits"));
}

void cvhost::ReceiveQueue::clear() noexcept {
    if (breaks("serial-clear")) return;
    broken::next<void (*)(ReceiveQueue*)>("_ZN6cvhost12ReceiveQueue5clearEv")(this);
}

// The memory of a dead port stays as it is: what the check sees there is no chance.

void operator delete(void* memory) noexcept {
    static const bool stays = breaks("serial-closed-lives");
    if (!stays) std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
