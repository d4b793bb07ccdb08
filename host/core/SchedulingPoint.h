// Where a host that runs one thread at a time may choose another.
//
// Threads: any thread.
#pragma once

#include <string_view>

namespace cvhost {

/// Called for each call that enters host/core from a plug-in, before it is carried out and without a lock, with the
/// function's name, and the setting's key where there is one.
using SchedulingHook = void (*)(const char* function, std::string_view key);

/// Calls `hook` from now on; null: nothing. The programs never set one.
void setSchedulingHook(SchedulingHook hook) noexcept;

void schedulingPoint(const char* function, std::string_view key = {});

}  // namespace cvhost
