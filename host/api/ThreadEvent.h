// The host's event: one thread waits, another signals.
#pragma once

#include "host/api/Ptr.h"

/// Any thread may call any operation.
class iThreadEvent : public iObject {
public:
    /// Waits until the event is signalled, at most `timeoutMs` milliseconds. 0: signalled (and the signal is taken, unless
    /// the event resets by hand); 1: time-out.
    virtual int wait(unsigned timeoutMs) = 0;
    virtual void signal() = 0;
    /// Clears a pending signal.
    virtual void reset() = 0;
};
