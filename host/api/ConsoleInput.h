// Where a console's keys go: the host's key-press queue and its table of console handlers.
//
// Threads: every operation may be called from any thread.
#pragma once

#include <atomic>

/// The key code last dispatched by a console. Written and read on several threads: through std::atomic_ref.
extern int last_button_index;

/// True for a code that a console handler may exist for: 0 to 47.
bool is_valid_keycode(int code);
/// Queues a key press. `handled`: 1 when its handler has run already, otherwise 0. `flags`: what kind of press it is and
/// where it comes from; the console sends 1536.
void addToKeyPressQueue(int code, int handled, int flags);
/// How many presses wait in the queue that are not marked as handled.
int numNonCriticalKeysQueued();
/// True when the current handler table has a handler for `code`.
bool console_has_handler(int code);
/// Runs the handler for `code`, if there is one. True when it ran and took the key.
bool console_call_handler(int code);

/// What the host does for a key code.
class ConsoleHandler {
public:
    /// True when the key has been taken.
    virtual bool execute(int code) = 0;

protected:
    ~ConsoleHandler() = default;
};

/// One handler, or null, for each key code.
class ConsoleHandlerTable {
public:
    static constexpr int codes = 48;

    /// The entry at `code`; null outside 0 to 47.
    ConsoleHandler* operator[](int code) const noexcept {
        return code >= 0 && code < codes ? m_entries[code].load(std::memory_order_acquire) : nullptr;
    }
    /// Sets the entry at `code`; ignored outside 0 to 47. The table does not own the handler.
    void set(int code, ConsoleHandler* handler) noexcept {
        if (code >= 0 && code < codes) m_entries[code].store(handler, std::memory_order_release);
    }

private:
    std::atomic<ConsoleHandler*> m_entries[codes]{};
};

/// Holds the handler table of whatever part of the host has the console now.
class ConsoleHandlerManager {
public:
    static ConsoleHandlerManager* theManager();

    /// Runs the current table's handler for `code`. True when it ran and took the key.
    bool executeHandler(unsigned code);
    /// The current table, null when nobody has the console. The table lives on for as long as the host does.
    ConsoleHandlerTable* getCurrentHandlerTable();
    /// Makes `table`, or none, the current table. Not owned.
    void setCurrentHandlerTable(ConsoleHandlerTable* table);

private:
    std::atomic<ConsoleHandlerTable*> m_current{nullptr};
};
