#include "tests/schedules/Accesses.h"

// What the instrumentation calls. A thread switch may lie in each; the real access follows, or is made here when it is
// atomic. NOLINTBEGIN
using schedules::accesses::Manner;
using schedules::accesses::touch;
using schedules::accesses::Use;

#pragma GCC diagnostic ignored "-Wmissing-declarations"

extern "C" {

void __tsan_init() {}
void __tsan_func_entry(void*) { schedules::accesses::enterFunction(); }
void __tsan_func_exit() {}

#define PLAIN(bytes)                                                                \
    void __tsan_read##bytes(void* at) { touch(at, bytes, Use::reads); }             \
    void __tsan_write##bytes(void* at) { touch(at, bytes, Use::writes); }           \
    void __tsan_unaligned_read##bytes(void* at) { touch(at, bytes, Use::reads); }   \
    void __tsan_unaligned_write##bytes(void* at) { touch(at, bytes, Use::writes); } \
    void __tsan_read_write##bytes(void* at) { touch(at, bytes, Use::writes); }      \
    void __tsan_unaligned_read_write##bytes(void* at) { touch(at, bytes, Use::writes); }
PLAIN(1)
PLAIN(2)
PLAIN(4)
PLAIN(8)
PLAIN(16)
#undef PLAIN

void __tsan_vptr_update(void** at, void*) { touch(at, sizeof(void*), Use::writes); }
void __tsan_vptr_read(void** at) { touch(at, sizeof(void*), Use::reads); }
void __tsan_read_range(void* at, unsigned long bytes) { touch(at, bytes, Use::reads); }
void __tsan_write_range(void* at, unsigned long bytes) { touch(at, bytes, Use::writes); }

void* __tsan_memcpy(void* to, const void* from, unsigned long bytes) {
    touch(from, bytes, Use::reads);
    touch(to, bytes, Use::writes);
    return __builtin_memcpy(to, from, bytes);
}
void* __tsan_memmove(void* to, const void* from, unsigned long bytes) {
    touch(from, bytes, Use::reads);
    touch(to, bytes, Use::writes);
    return __builtin_memmove(to, from, bytes);
}
void* __tsan_memset(void* to, int value, unsigned long bytes) {
    touch(to, bytes, Use::writes);
    return __builtin_memset(to, value, bytes);
}

#define CHANGE(bits, type, name)                                            \
    type __tsan_atomic##bits##_##name(volatile type* at, type value, int) { \
        touch(at, sizeof(type), Use::counts, Manner::atomic);               \
        return __atomic_##name(at, value, __ATOMIC_SEQ_CST);                \
    }
#define EXCHANGE(bits, type, name)                                                                                 \
    int __tsan_atomic##bits##_compare_exchange_##name(volatile type* at, type* expected, type desired, int, int) { \
        touch(at, sizeof(type), Use::counts, Manner::atomic);                                                      \
        return __atomic_compare_exchange_n(at, expected, desired, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);      \
    }
#define ATOMIC(bits, type)                                                    \
    type __tsan_atomic##bits##_load(const volatile type* at, int) {           \
        touch(at, sizeof(type), Use::reads, Manner::atomic);                  \
        return __atomic_load_n(at, __ATOMIC_SEQ_CST);                         \
    }                                                                         \
    void __tsan_atomic##bits##_store(volatile type* at, type value, int) {    \
        touch(at, sizeof(type), Use::writes, Manner::atomic);                 \
        __atomic_store_n(at, value, __ATOMIC_SEQ_CST);                        \
    }                                                                         \
    type __tsan_atomic##bits##_exchange(volatile type* at, type value, int) { \
        touch(at, sizeof(type), Use::counts, Manner::atomic);                 \
        return __atomic_exchange_n(at, value, __ATOMIC_SEQ_CST);              \
    }                                                                         \
    CHANGE(bits, type, fetch_add)                                             \
                                                                              \
    CHANGE(bits, type, fetch_and)                                             \
    CHANGE(bits, type, fetch_or)                                              \
    CHANGE(bits, type, fetch_xor)                                             \
    EXCHANGE(bits, type, strong)                                              \
    EXCHANGE(bits, type, weak)
/// A handle's object is given back by the last drop alone; every other commutes with whatever happens.
unsigned int __tsan_atomic32_fetch_sub(volatile unsigned int* at, unsigned int value, int) {
    touch(at, sizeof *at, *at == value ? Use::counts : Use::reads, Manner::atomic);
    return __atomic_fetch_sub(at, value, __ATOMIC_SEQ_CST);
}

ATOMIC(8, unsigned char)
ATOMIC(16, unsigned short)
ATOMIC(32, unsigned int)
ATOMIC(64, unsigned long)
#undef ATOMIC
#undef EXCHANGE
#undef CHANGE

}  // extern "C"
// NOLINTEND
