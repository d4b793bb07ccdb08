#include "apps/cvhost/run/RunSettings.h"

#include <cstdint>
#include <variant>

#include "apps/cvhost/driver/Driver.h"
#include "apps/cvhost/ports/KnownSettings.h"
#include "host/core/Settings.h"

namespace cvhost::run {

double beyondPlay() {
    const auto value = settings().find(driver::beyondPlay);
    if (!value) return 1.0;
    if (const auto* whole = std::get_if<std::int64_t>(&*value)) return static_cast<double>(*whole);
    const auto* exact = std::get_if<double>(&*value);
    return exact != nullptr ? *exact : 1.0;
}

std::string mapOf(const Options& options) {
    if (!options.map.empty() || !options.film.empty()) return options.map;
    const auto value = settings().find(ports::mapSetting);
    const auto* name = value ? std::get_if<std::string>(&*value) : nullptr;
    return name == nullptr ? "" : *name;
}

}  // namespace cvhost::run
