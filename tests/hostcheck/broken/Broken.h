// A host that breaks one promise: host/linux with one function replaced. Loaded before libcvhost.so, this library stands in
// front of its functions; the variable BROKEN_PROMISE says which of them is not passed on as it should be.
//
// Threads: any.
#pragma once

#include <dlfcn.h>

#include <chrono>
#include <string_view>
#include <thread>

namespace broken {

/// Whether this host breaks the promise with this id.
bool breaks(std::string_view promise);

/// The host's own function, which the one with this name hides.
template <class Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

inline void sleepMs(int time) { std::this_thread::sleep_for(std::chrono::milliseconds(time)); }

/// The plug-in's static initialisers run.
extern bool loading;
/// This thread is in a receive callback.
extern thread_local bool inCallback;
/// How deep this thread is in calls of console_call_handler.
extern thread_local int handlerDepth;
/// This thread was begun by a check, under the name "HostCheck N".
bool onCheckThread();

}  // namespace broken
