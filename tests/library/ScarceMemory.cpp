// The host's memory, with a block refused where a test wants it: this program's definitions stand before the host library's.
#include <dlfcn.h>

#include "host/api/OS.h"
#include "tests/library/Library.h"

namespace {

std::size_t s_refused = 0;

template <class Function>
Function* hostsOwn(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

class Memory final : public iAllocator {
public:
    void* allocate(std::size_t bytes, std::size_t alignment) noexcept override {
        return s_refused != 0 && --s_refused == 0 ? nullptr : m_host.allocate(bytes, alignment);
    }
    void release(void* memory) noexcept override { m_host.release(memory); }

private:
    iAllocator& m_host = hostsOwn<iAllocator&() noexcept>("_Z13hostAllocatorv")();
};

class System final : public iOS {
public:
    iAllocator& allocator() noexcept override { return hostAllocator(); }
    iThreading& threading() noexcept override { return m_host.threading(); }
    iSerialPorts& serialPorts() noexcept override { return m_host.serialPorts(); }
    iFileService& files() noexcept override { return m_host.files(); }

private:
    iOS& m_host = hostsOwn<iOS&() noexcept>("_Z2OSv")();
};

}  // namespace

void library::refuseBlock(std::size_t number) { s_refused = number; }

[[gnu::visibility("default")]] iAllocator& hostAllocator() noexcept {
    static Memory& memory = *new Memory;
    return memory;
}

[[gnu::visibility("default")]] iOS& OS() noexcept {
    static System& system = *new System;
    return system;
}
