// What a host promises, each promise with its lasting id. docs/host-interface.md has the same table.
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

namespace hostcheck {

/// 1: a console can be started. 2: everything that the driver relies on. 3: hot-plug, floods, many loads.
struct Promise {
    const char* id;
    int level;
    const char* text;
};

inline constexpr Promise promises[] = {
    {"life-log-in-statics", 1, "LogBoth works while the library is being loaded"},
    {"life-os-in-statics", 1, "OS() gives memory and events while the library is being loaded"},
    {"life-settings-in-statics", 1, "settings can be read while the library is being loaded"},
    {"life-first-answer", 1, "a factory that answers false is initialised all the same"},
    {"life-order", 1, "factory, post-load hook, post-enumeration hook and init() come in this order"},
    {"life-hooks-once", 2, "each hook is called once for each load, however often the factory is asked"},
    {"life-one-thread", 2, "loading, hooks and unloading are on one thread"},
    {"life-walk-finds", 1, "the walk over resources finds the components of the plug-in that is being loaded"},
    {"life-walk-initialised", 2, "the walk passes over plug-ins that are not initialised"},
    {"life-walk-type", 2, "the walk stops at resources of its type alone, and ends at null"},
    {"life-downcast", 2, "a resource from the walk is the plug-in's own object and can be cast down to it"},
    {"life-console-found", 1, "the host finds the console among the components and calls init()"},
    {"life-exit-first", 2, "exit() comes before the pre-unload hook"},
    {"life-preunload", 2, "the pre-unload hook comes before the library leaves"},
    {"life-deletes-console", 2, "closedown() deletes each component and empties the list"},
    {"life-nothing-after", 2, "nothing in the library is called after the pre-unload hook"},
    {"life-many-loads", 3, "the library leaves the process when it is unloaded, and can be loaded again, 100 times"},

    {"memory-same", 1, "hostAllocator() and OS().allocator() are one allocator, always the same"},
    {"memory-alignment", 1, "memory is aligned as asked, up to 4096"},
    {"memory-zero", 2, "0 bytes give an address of their own"},
    {"memory-none", 2, "memory that is not to be had is answered with null"},
    {"memory-threads", 2, "threads may allocate and release at one time, also what another has allocated"},
    {"memory-null", 2, "releasing null does nothing"},
    {"memory-lasting", 2, "memory from loading keeps its content until unloading"},
    {"handles-count", 2, "handles count: each call gives back the references that it took"},

    {"thread-new", 1, "beginThread runs the body on a new thread and returns at once"},
    {"thread-flag", 1, "the keep-running flag is set while the thread is wanted, and endThread clears it"},
    {"thread-end-waits", 2, "endThread returns when the body has returned"},
    {"thread-twice", 2, "beginThread answers false while a body runs, and begins no other"},
    {"thread-again", 2, "a thread whose body has returned can be begun again"},
    {"thread-ends-itself", 2, "endThread called by the body does not wait"},

    {"event-made", 1, "createThreadEvent never answers null"},
    {"event-clear", 1, "a new event is not signalled"},
    {"event-wakes", 1, "a signal ends a wait on another thread, which answers 0"},
    {"event-kept", 1, "a signal that nobody waits for is kept for the next wait"},
    {"event-taken", 1, "one wait takes the signal"},
    {"event-timeout", 1, "a wait of 100 ms without a signal answers 1, after 100 ms and before a second has passed"},
    {"event-reset", 2, "reset() clears a pending signal"},
    {"event-sleep", 1, "sleep() lasts no less than it was asked to"},

    {"serial-list", 1, "list() adds ports with names, and keeps what the list holds"},
    {"serial-open-null", 1, "a port that is not there is answered with null"},
    {"serial-error-clear", 1, "comms_geterr answers 0 while the port is usable"},
    {"serial-settings", 1, "the port has exactly the settings that it was opened with"},
    {"serial-odd-settings", 2, "settings that the line cannot have give null or an error, never other settings"},
    {"serial-bytes-in", 1, "every byte arrives as it was sent"},
    {"serial-bytes-out", 1, "every byte leaves as it was given"},
    {"serial-sent", 1, "comms_putchs answers 0 when all bytes were taken"},
    {"serial-getc", 1, "comms_getc and comms_peekc answer 0 or -1, and nothing else"},
    {"serial-at-once", 1, "comms_getc does not wait for a byte"},
    {"serial-peek", 2, "comms_peekc leaves the byte"},
    {"serial-clear", 1, "clearReceiveQueue discards what has arrived"},
    {"serial-call-each-byte", 1, "the receive callback is called once for each byte"},
    {"serial-call-after-byte", 1, "the callback comes when its byte can be taken"},
    {"serial-call-one-thread", 2, "all callbacks of a port are on one thread"},
    {"serial-call-alone", 2, "a callback is never called again before it has returned"},
    {"serial-register-replaces", 2, "registering the same callback again replaces the first registration"},
    {"serial-rts", 1, "comms_set_rts drives the line"},
    {"serial-rts-after-data", 2, "RTS changes after what was sent before"},
    {"serial-data-after-rts", 2, "what is sent after a change of RTS leaves after it"},
    {"serial-writers", 2, "writes of three threads do not mix"},
    {"serial-reopen", 2, "opening a port again closes the first opening, and the new one works"},
    {"serial-deregister-waits", 2, "commsDeregisterHandler returns when no call runs"},
    {"serial-deregister-last", 2, "no call comes after commsDeregisterHandler has returned"},
    {"serial-deregister-itself", 2, "a callback that deregisters itself is not waited for"},
    {"serial-closed", 2, "a closed handle answers as a lost port: -1 and an error"},
    {"serial-closed-lives", 2, "a closed port's object lives until the next opening"},
    {"serial-null", 2, "null handles are harmless: -1 and an error"},
    {"serial-flood", 3, "nothing is lost at 100,000 packets a second"},
    {"serial-lost", 3, "a lost port answers -1 and an error, and can be opened again"},

    {"settings-default", 1, "a setting that is absent has the caller's default"},
    {"settings-threads", 2, "settings can be read on every thread"},
    {"settings-preference", 1, "a preference that was not chosen has the caller's default"},
    {"settings-asked-again", 1, "a preference is looked up again each time it is asked"},

    {"files-folder", 2, "getAppPath ends in the separator"},
    {"files-missing", 2, "a file that is not there is answered with null"},
    {"files-read", 2, "a file's size and bytes are right"},
    {"files-short", 2, "reading more than there is answers 0"},
    {"names-utf8", 2, "a file whose name has characters beyond ASCII is found by its UTF-8 name"},
    {"names-bytes", 2, "a byte that is not UTF-8 reaches a file's name unchanged"},

    {"keys-codes", 2, "is_valid_keycode holds for 0 to 47 and nothing else"},
    {"keys-at-once", 1, "queueing a key and counting keys do not wait"},
    {"keys-count", 2, "presses that were handled already are not counted"},
    {"keys-threads", 2, "two threads may queue keys at one time"},
    {"keys-null-table", 1, "without a handler table no key has a handler"},
    {"keys-handler", 1, "a handler runs inside the call, on the caller's thread, with its key's code"},
    {"keys-answer", 2, "what the handler answers is what the call answers"},
    {"keys-execute", 2, "executeHandler of the handler manager runs the handler as well"},
    {"keys-nested", 2, "a handler may call another key's handler and queue keys"},
    {"keys-table-changes", 2, "a table that changes during a call counts from the next call on"},
    {"keys-exit", 2, "a handler on the receive thread may end the console: deregister, and close the port"},
    {"keys-last-button", 2, "last_button_index is an aligned int that keeps what is written"},
    {"keys-full", 3, "a full key queue makes nobody wait"},

    {"log-threads", 2, "two threads may write to the log at one time"},
    {"log-long", 2, "a text of 4 KB is no harm"},
    {"log-unknown", 2, "a conversion that the log does not know is no harm"},
    {"log-long-double", 2, "%Lf is no harm"},
    {"log-percent-n", 1, "%n in a format that lies in writable memory writes nothing and ends nothing"},
};

inline constexpr std::size_t promiseCount = std::size(promises);

/// One of the promises. An id that is none does not compile.
struct Id {
    std::size_t index = 0;

    consteval Id(const char* name) {
        while (std::string_view(promises[index].id) != name) ++index;
    }
    explicit constexpr Id(std::size_t number) : index(number) {}

    const Promise& promise() const { return promises[index]; }
};

}  // namespace hostcheck
