// The host's operating-system layer: memory, threads, the list of serial ports, files.
//
// Threads: every operation may be called from any thread.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <utility>

#include "host/api/Files.h"
#include "host/api/HostAllocator.h"
#include "host/api/LightweightString.h"
#include "host/api/Ptr.h"
#include "host/api/ThreadEvent.h"

/// Serial ports by name, in the name's own order. The name is what comms_port_open takes (a device path, say); the value
/// is the description that the system gives the port, null when it gives none.
using SerialPortList = std::map<LightweightString<wchar_t>, LightweightString<wchar_t>, std::less<>,
                                HostAllocator<std::pair<const LightweightString<wchar_t>, LightweightString<wchar_t>>>>;

/// Threads and events.
class iThreading {
public:
    /// A new event. All arguments zero: it starts unsignalled, a wait that it ends takes the signal, no flags.
    /// `flags` has no meaning yet and must be 0. Never null.
    virtual Cv::Ptr<iThreadEvent> createThreadEvent(int manualReset, int initiallySignalled, int flags) = 0;

    /// Suspends the calling thread for `timeMs` milliseconds.
    virtual void sleep(unsigned timeMs) = 0;

protected:
    ~iThreading() = default;
};

/// The machine's serial ports.
class iSerialPorts {
public:
    /// Adds every serial port of the machine to `ports`.
    virtual void list(SerialPortList& ports) = 0;

protected:
    ~iSerialPorts() = default;
};

/// The one entry to the layer.
class iOS {
public:
    virtual iAllocator& allocator() noexcept = 0;
    virtual iThreading& threading() noexcept = 0;
    virtual iSerialPorts& serialPorts() noexcept = 0;
    virtual iFileService& files() noexcept = 0;

protected:
    ~iOS() = default;
};

/// The host's operating-system layer. It is there before any plug-in is loaded and until the process ends.
iOS& OS() noexcept;
