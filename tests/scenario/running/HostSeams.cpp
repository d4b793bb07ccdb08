#include "tests/scenario/running/HostSeams.h"

#include <cstdarg>
#include <cstdio>
#include <span>
#include <string_view>

#include "host/core/Log.h"

namespace running {
namespace {

bool s_everyCodeValid = false;
std::string s_cLibraryText;

}  // namespace

EveryCodeValid::EveryCodeValid() { s_everyCodeValid = true; }
EveryCodeValid::~EveryCodeValid() { s_everyCodeValid = false; }

const std::string& cLibraryText() { return s_cLibraryText; }

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
