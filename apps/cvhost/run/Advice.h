// Why no console is active yet, and what to do about it.
#pragma once

#include <optional>
#include <string>

#include "apps/cvhost/wire/Startup.h"

namespace cvhost::run {

struct Circumstances {
    /// The preference that lets the console be used.
    bool preferred;
    /// The console has had the time that start-up takes.
    bool waited;
};

/// Why no console is active.
struct Diagnosis {
    enum class Reason {
        portLost,
        silent,    ///< the port is open, and nothing answers
        tooEarly,  ///< start-up has not had its time yet
        other,     ///< the one in the text
    };

    Reason reason;
    /// One sentence, without a full stop: why, and what to do about it.
    std::string text;
};

Diagnosis whyNoConsole(const wire::StartupFacts& startup, Circumstances circumstances);

/// What the run is doing, in one sentence without a capital and a full stop; `work` is Work::status.
std::string runStatus(const wire::StartupFacts& startup, const std::string& work);

/// `now`, unless it is only too early to say: then a silent console or a lost port stays the reason, if that was known.
Diagnosis better(const std::optional<Diagnosis>& known, Diagnosis now);

}  // namespace cvhost::run
