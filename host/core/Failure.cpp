#include "host/core/Failure.h"

#include <array>
#include <cstring>
#include <exception>
#include <mutex>

#include "host/core/Everlasting.h"

namespace cvhost {
namespace {

/// No memory is asked for: there may be none.
struct Failure {
    std::mutex lock;
    bool kept = false;
    std::array<char, 256> text{};
};

Failure& theFailure() noexcept {
    static Everlasting<Failure> failure;
    return *failure;
}

void keep(const char* text) noexcept {
    Failure& failure = theFailure();
    const std::lock_guard held(failure.lock);
    if (failure.kept) return;
    failure.kept = true;
    std::strncpy(failure.text.data(), text, failure.text.size() - 1);
}

}  // namespace

void keepFailure() noexcept {
    try {
        throw;
    } catch (const std::exception& error) {
        keep(error.what());
    } catch (...) {
        keep("an exception of unknown kind");
    }
}

bool hasFailed() noexcept {
    Failure& failure = theFailure();
    const std::lock_guard held(failure.lock);
    return failure.kept;
}

std::optional<std::string> takeFailure() {
    Failure& failure = theFailure();
    const std::lock_guard held(failure.lock);
    if (!failure.kept) return std::nullopt;
    failure.kept = false;
    return failure.text.data();
}

}  // namespace cvhost
