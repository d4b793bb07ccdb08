#include "host/api/ConsoleInput.h"

#include "host/api/Log.h"
#include "host/core/Events.h"
#include "host/core/KeyQueue.h"
#include "host/core/SchedulingPoint.h"

using cvhost::schedulingPoint;

constinit int last_button_index = 0;

bool is_valid_keycode(int code) { return code >= 0 && code < ConsoleHandlerTable::codes; }

void addToKeyPressQueue(int code, int handled, int flags) {
    schedulingPoint("addToKeyPressQueue");
    const std::size_t dropped = cvhost::keyQueue().add({code, handled != 0, flags});
    cvhost::publish(cvhost::KeyQueued{.code = code, .handled = handled != 0, .flags = flags});
    if (dropped == 1) LogBoth("The key queue is full; presses are dropped until the host takes some\n");
}

int numNonCriticalKeysQueued() {
    schedulingPoint("numNonCriticalKeysQueued");
    return cvhost::keyQueue().unhandled();
}

bool console_has_handler(int code) {
    const ConsoleHandlerTable* table = ConsoleHandlerManager::theManager()->getCurrentHandlerTable();
    return table != nullptr && (*table)[code] != nullptr;
}

bool console_call_handler(int code) {
    return is_valid_keycode(code) && ConsoleHandlerManager::theManager()->executeHandler(static_cast<unsigned>(code));
}

ConsoleHandlerManager* ConsoleHandlerManager::theManager() {
    static constinit ConsoleHandlerManager manager;
    return &manager;
}

bool ConsoleHandlerManager::executeHandler(unsigned code) {
    const ConsoleHandlerTable* table = getCurrentHandlerTable();
    if (table == nullptr || code >= ConsoleHandlerTable::codes) return false;
    ConsoleHandler* handler = (*table)[static_cast<int>(code)];
    return handler != nullptr && handler->execute(static_cast<int>(code));
}

ConsoleHandlerTable* ConsoleHandlerManager::getCurrentHandlerTable() {
    schedulingPoint("getCurrentHandlerTable");
    return m_current.load(std::memory_order_acquire);
}

void ConsoleHandlerManager::setCurrentHandlerTable(ConsoleHandlerTable* table) {
    m_current.store(table, std::memory_order_release);
}
