#include "tests/scenario/running/HostSeams.h"

#include <cstdarg>
#include <cstdio>
#include <span>
#include <string_view>

#include "host/api/ConsoleInput.h"
#include "host/core/Log.h"

namespace running {
namespace {

bool s_everyCodeValid = false;
std::string s_cLibraryText;

}  // namespace

EveryCodeValid::EveryCodeValid() { s_everyCodeValid = true; }
EveryCodeValid::~EveryCodeValid() { s_everyCodeValid = false; }

const std::string& cLibraryText() { return s_cLibraryText; }

std::vector<std::string>& keyCalls() {
    static std::vector<std::string> s_calls;
    return s_calls;
}

}  // namespace running

// The linker's names for what stands in front, and for what stands behind it.
using LogLine = std::span<char, cvhost::logLineSize>;
bool realIsValidKeycode(int code) __asm__("__real__Z16is_valid_keycodei");
bool wrappedIsValidKeycode(int code) __asm__("__wrap__Z16is_valid_keycodei");
std::string_view realFormatText(LogLine line, const char* format, std::va_list arguments) __asm__(
    "__real__ZN6cvhost10formatTextESt4spanIcLm1024EEPKcP13__va_list_tag");
std::string_view wrappedFormatText(LogLine line, const char* format, std::va_list arguments) __asm__(
    "__wrap__ZN6cvhost10formatTextESt4spanIcLm1024EEPKcP13__va_list_tag");

bool wrappedIsValidKeycode(int code) { return running::s_everyCodeValid || realIsValidKeycode(code); }

std::string_view wrappedFormatText(LogLine line, const char* format, std::va_list arguments) {
    std::va_list copy;
    va_copy(copy, arguments);
    char text[2 * cvhost::logLineSize] = {};
    const int length = std::vsnprintf(text, sizeof text, format, copy);
    va_end(copy);
    running::s_cLibraryText.assign(text, length < 0 ? 0 : static_cast<std::size_t>(length));
    return realFormatText(line, format, arguments);
}

bool realCallHandler(int code) __asm__("__real__Z20console_call_handleri");
bool wrappedCallHandler(int code) __asm__("__wrap__Z20console_call_handleri");
bool realHasHandler(int code) __asm__("__real__Z19console_has_handleri");
bool wrappedHasHandler(int code) __asm__("__wrap__Z19console_has_handleri");
bool realExecuteHandler(ConsoleHandlerManager* manager,
                        unsigned code) __asm__("__real__ZN21ConsoleHandlerManager14executeHandlerEj");
bool wrappedExecuteHandler(ConsoleHandlerManager* manager,
                           unsigned code) __asm__("__wrap__ZN21ConsoleHandlerManager14executeHandlerEj");
void realAddToQueue(int code, int handled, int flags) __asm__("__real__Z18addToKeyPressQueueiii");
void wrappedAddToQueue(int code, int handled, int flags) __asm__("__wrap__Z18addToKeyPressQueueiii");

bool wrappedCallHandler(int code) {
    running::keyCalls().push_back("console_call_handler(" + std::to_string(code) + ")");
    return realCallHandler(code);
}

bool wrappedHasHandler(int code) {
    running::keyCalls().push_back("console_has_handler(" + std::to_string(code) + ")");
    return realHasHandler(code);
}

bool wrappedExecuteHandler(ConsoleHandlerManager* manager, unsigned code) {
    running::keyCalls().push_back("executeHandler(" + std::to_string(code) + ")");
    return realExecuteHandler(manager, code);
}

void wrappedAddToQueue(int code, int handled, int flags) {
    running::keyCalls().push_back("addToKeyPressQueue(" + std::to_string(code) + ", " + std::to_string(handled) + ", " +
                                  std::to_string(flags) + ")");
    realAddToQueue(code, handled, flags);
}
