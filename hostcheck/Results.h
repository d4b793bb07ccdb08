// What was tried, and what came of it: told to the host's log, and kept in the files that the environment names.
//
// The files are written anew at each step and hold what was tried, in that order, so that the last entry names the check
// that has ended the host. Threads: any; no function here calls the host under its lock.
#pragma once

#include "hostcheck/Promises.h"
#include "hostcheck/Text.h"

namespace hostcheck {

enum class Verdict : unsigned char { untried, running, pass, fail, notTried };

struct Outcome {
    Verdict verdict = Verdict::untried;
    Text seen;  ///< of a failure: what was seen in place of what was promised; of one not tried: why
};

Outcome pass();
__attribute__((format(printf, 1, 2))) Outcome fail(const char* format, ...);
__attribute__((format(printf, 1, 2))) Outcome notTried(const char* format, ...);

/// Whether level and list of ids include it.
bool isChosen(Id id);
Verdict verdictOf(Id id);

/// Writes the files before there is a result: what a program finds there is of this run. Logs ids that are no promise's.
void beginRun();
/// A check begins.
void begin(Id id);
/// A check has ended. A failure stays one, whatever else is recorded for the same promise.
void record(Id id, const Outcome& outcome);
/// Records what was not tried yet as not tried, for this reason. `except`: ids that begin so are left out.
void giveUp(const char* reason, std::string_view except = {});
/// Logs how many passed, failed and were not tried.
void summarize();

/// One promise and how it is tried.
struct Check {
    Id id;
    Outcome (*run)();
};

/// Runs it, unless it is not chosen or has an outcome already.
void run(const Check& check);

}  // namespace hostcheck
