#include "hostcheck/Options.h"

#include <stdlib.h>

#include <algorithm>
#include <cstdlib>

#include "hostcheck/Platform.h"
#include "hostcheck/Text.h"

namespace hostcheck {
namespace {

const char* variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr || *value == '\0' ? nullptr : value;
}

std::uint64_t number(const char* name, std::uint64_t otherwise) {
    const char* const value = variable(name);
    return value == nullptr ? otherwise : std::strtoull(value, nullptr, 10);
}

constexpr const char* loadedVariable = "CORVANE_HOSTCHECK_LOADED";

}  // namespace

const Options& options() {
    static const Options read = [] {
        Options asked;
        asked.level = static_cast<int>(std::clamp<std::uint64_t>(number("CORVANE_HOSTCHECK_LEVEL", 2), 1, 3));
        asked.list = variable("CORVANE_HOSTCHECK_LIST") != nullptr;
        asked.only = variable("CORVANE_HOSTCHECK_ONLY");
        asked.seed = number("CORVANE_HOSTCHECK_SEED", static_cast<std::uint64_t>(now().count()) % 1'000'000);
        asked.json = variable("CORVANE_HOSTCHECK_JSON");
        asked.junit = variable("CORVANE_HOSTCHECK_JUNIT");
        asked.loads = static_cast<int>(std::clamp<std::uint64_t>(number("CORVANE_HOSTCHECK_LOADS", 1), 1, 100'000));
        return asked;
    }();
    return read;
}

int loadNumber(bool next) {
    int loaded = static_cast<int>(number(loadedVariable, 0));
    if (!next) return loaded;
    Text text;
    text.add("%d", ++loaded);
    ::setenv(loadedVariable, text.c_str(), 1);  // the library's own variables go with it
    return loaded;
}

}  // namespace hostcheck
