// An exception that must not leave its thread: it is kept until the application has ended in order.
//
// Threads: any.
#pragma once

#include <optional>
#include <string>

namespace cvhost {

/// Keeps what the exception says that is being handled, unless one is kept already.
void keepFailure() noexcept;
/// Whether one is kept.
bool hasFailed() noexcept;
/// What the kept one says; it is forgotten.
std::optional<std::string> takeFailure();

/// Runs `body` and keeps what it throws.
template <class Body>
void guarded(Body&& body) noexcept {
    try {
        body();
    } catch (...) {
        keepFailure();
    }
}

}  // namespace cvhost
