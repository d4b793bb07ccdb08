// The least host that the driver runs on: one thread, one port, no time. Everything succeeds at once and does nothing.
//
// A program that wants more derives its own host from it. The latest one made answers the driver.
// Threads: one.
#pragma once

#include <string_view>

#include "host/api/Comms.h"

namespace support {

class NullHost {
public:
    NullHost() noexcept;
    NullHost(const NullHost&) = delete;
    NullHost& operator=(const NullHost&) = delete;
    virtual ~NullHost() = default;

    /// What comms_getc gives from now on; the bytes stay where they are.
    void setLine(std::string_view bytes) { m_line = bytes; }
    bool lineEmpty() const { return m_line.empty(); }

    // What the driver calls, with the results of host/api.

    /// comms_getc, or comms_peekc when `take` is false; `port` says whether the driver has one.
    virtual int getc(bool port, unsigned char* byte, bool take);
    virtual int write(bool port, const unsigned char* bytes, int count);
    virtual void setRts(int level) { static_cast<void>(level); }
    virtual void clearReceiveQueue() {}
    virtual Cv::Ptr<CommsPort> open() { return {}; }
    /// Every event is this one.
    virtual int wait(unsigned timeoutMs);
    virtual void signal() {}
    virtual void resetSignal() {}
    virtual void sleep(unsigned timeMs) { static_cast<void>(timeMs); }
    virtual bool beginThread() { return false; }

protected:
    std::string_view m_line;
};

/// A port to hold; every one is the host's one line.
Cv::Ptr<CommsPort> newPort();

}  // namespace support
