// Accesses to memory, each a place where another thread may go on.
//
// What a script is about is compiled for its program with the compiler's thread instrumentation (-fsanitize=thread), which
// calls a function before each access that may be seen by another thread. Here these functions are ours
// (Instrumentation.cpp): no source is changed, and no access is forgotten. Each program says which accesses are scheduling
// points (DriverAccesses, SerialAccesses).
//
// Threads: those of a run.
#pragma once

#include <cstddef>
#include <string>

namespace schedules::accesses {

enum class Use { reads, writes, counts };
enum class Manner { plain, atomic };

/// Called before an access is made. Another thread may have gone on before it returns.
void touch(const volatile void* address, std::size_t bytes, Use use, Manner manner = Manner::plain);
/// Called at the beginning of every function.
void enterFunction();

/// The run is over: nothing is watched any more.
void end();

/// Whether bytes were found that two threads use and that are no scheduling points yet: the search has to begin again, after
/// `takeLearnt`.
bool learnt();
void takeLearnt();
/// Every byte is a scheduling point, as if all were learnt: for a schedule that is repeated.
void takeAll();
/// For the next script.
void forget();

/// Called for an access to memory that has been given back, and for what else a program forbids.
extern void (*broken)(const std::string& what);

}  // namespace schedules::accesses
