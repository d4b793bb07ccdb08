// How much memory the process has taken with operator new and not given back.
//
// Threads: any.
#pragma once

namespace explore {

long liveAllocations() noexcept;

}  // namespace explore
