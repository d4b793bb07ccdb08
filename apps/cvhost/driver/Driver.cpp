#include "apps/cvhost/driver/Driver.h"

namespace cvhost::driver {

std::string driverPath() { return pluginPath("CorvaneConsole.so"); }

std::string failureText(const PluginFailure& failure) {
    return failure.what + "; " + (failure.remedy.empty() ? "build it and cvhost from the same sources" : failure.remedy);
}

}  // namespace cvhost::driver
