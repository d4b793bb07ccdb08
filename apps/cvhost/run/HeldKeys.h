// Which keys are held, so that every press that was queued has its release.
//
// The driver queues presses only. Whether a key is held it says when asked, so it is asked about the keys known as held
// after each byte that it has handled: exact, and without a timer. The presses of three keys are queued under another code
// than the key's own (common::keyOf). The jog key stays marked as held after the wheel has switched itself on: that
// counts as a tap.
//
// Threads: one at a time, on the event's thread. Nothing here waits.
#pragma once

#include <bitset>
#include <functional>

#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"
#include "host/core/Events.h"

namespace cvhost::run {

class HeldKeys {
public:
    using Released = std::function<void(const KeyReleased& key)>;

    /// `released` is called for each release, after the event that brings it about, but before a second press of its key.
    HeldKeys(iConsoleResource& console, Released released) : m_console(console), m_released(std::move(released)) {}

    void operator()(const Event& event) { give<Consumer::held>(event, *this); }

    /// Releases a key that is about to be pressed though it counts as held: its release has been lost on the line.
    void beforePress(int code);

    void take(const KeyQueued& key);
    void take(const ByteHandled& handled);
    void take(const PortChange& port);

private:
    void release(int code, bool lost);

    iConsoleResource& m_console;
    const Released m_released;
    std::bitset<ConsoleHandlerTable::codes> m_held;  ///< by the codes of queued presses
    unsigned char m_last = 0;                        ///< the byte handled last
    bool m_jogKey = false;                           ///< queued since then
};

}  // namespace cvhost::run
