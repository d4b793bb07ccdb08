// What tests of registrations share: handlers with a body, and a port to register them with.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "tests/unit/host/linux/serial/SerialRig.h"

namespace serialtest {

/// A handler with a body of its own.
struct Handler {
    std::function<void()> body{};
    Watched watched{};
    int entered = 0;
    int returned = 0;

    /// Also waits for a call that has removed its own registration.
    ~Handler() { drop(); }

    static bool callback(void* self) {
        auto& handler = *static_cast<Handler*>(self);
        handler.watched.change([&] { ++handler.entered; });
        if (handler.body) handler.body();
        handler.watched.change([&] { ++handler.returned; });
        return true;
    }
    bool listen(const Pty& pty) { return commsRegisterHandler(callback, pty.name(), 1, true, this); }
    void drop() { commsDeregisterHandler(callback, this); }
    bool waitEntered(int count) {
        return watched.wait([&] { return entered >= count; });
    }
    bool waitReturned(int count) {
        return watched.wait([&] { return returned >= count; });
    }
    int calls() {
        return watched.look([&] { return entered; });
    }
};

/// A gate that a handler waits at.
class Gate {
public:
    void open() {
        m_watched.change([&] { m_open = true; });
    }
    void pass() {
        EXPECT_TRUE(m_watched.wait([&] { return m_open; }));
    }

private:
    Watched m_watched;
    bool m_open = false;
};

/// A handler whose first call waits until a gate opens. Whoever opens the gate only later must not wait for the call.
struct HeldHandler : Handler {
    HeldHandler() {
        body = [this] {
            if (std::exchange(m_first, false)) gate.pass();
        };
    }
    Gate gate;

private:
    bool m_first = true;  // [rx]; the second receive thread calls when the first has returned
};

class Handlers : public testing::Test {
protected:
    Handlers() : port(open(pty.name())) {}
    ~Handlers() override { comms_port_close(port); }

    /// Sends two bytes more; returns when every handler has been called for all but the last of them.
    void settle() {
        Handler last;
        ASSERT_TRUE(last.listen(pty));
        pty.send("..");
        ASSERT_TRUE(last.waitReturned(2));
        last.drop();
    }

    Pty pty;
    Cv::Ptr<CommsPort> port;
};

}  // namespace serialtest
