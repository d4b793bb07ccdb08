// Where a host that runs one thread at a time may choose another.
//
// Threads: any thread.
#pragma once

#include <string_view>

namespace cvhost {

/// Told of each call that enters host/core from a plug-in, before it is carried out and without a lock: the function's
/// name, and the setting's key for the calls that have one.
using SchedulingHook = void (*)(const char* function, std::string_view key);

/// Has `hook`, or nobody, told. The real host sets none.
void setSchedulingHook(SchedulingHook hook) noexcept;

void schedulingPoint(const char* function, std::string_view key = {});

}  // namespace cvhost
