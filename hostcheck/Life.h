// What the host does to the library while it is in the process, in the order in which it does it.
//
// Threads: the hooks are on the host's main thread, or would be; the fields that other threads read are atomic.
#pragma once

#include <atomic>
#include <cstdint>

#include "host/api/HostAllocator.h"

namespace hostcheck {

struct Life {
    iAllocator* allocator = nullptr;   ///< while the library was loaded
    unsigned char* lasting = nullptr;  ///< memory from then
    std::uint64_t mainThread = 0;
    std::atomic<bool> otherThread = false;  ///< a hook came on another thread than the library's loading
    int factoryCalls = 0;
    int postLoads = 0;
    int postEnumerations = 0;
    int preUnloads = 0;
    std::atomic<int> inits = 0;
    std::atomic<int> exits = 0;
    int exitsBeforePreUnload = 0;
    int consolesDeleted = 0;
    bool inOrder = true;
    int afterPreUnload = 0;  ///< calls of the host that came after the pre-unload hook
    bool stayed = false;     ///< it was loaded again without having left the process
};

Life& life();

/// The host will load the library again: nothing but that is tried this time.
bool isPassingThrough();

// Each of these is called where its name says.

void noteFactory();
void notePostLoad();
void notePostEnumeration();
void noteInit();
void notePreUnload(bool componentsLeft);

}  // namespace hostcheck
