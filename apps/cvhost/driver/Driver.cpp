#include "apps/cvhost/driver/Driver.h"

#include "host/linux/PluginLibrary.h"

namespace cvhost::driver {

std::string driverPath() { return pluginPath("CorvaneConsole.so"); }

std::string loadProblem(std::string sentence) {
    while (sentence.ends_with('.')) sentence.pop_back();
    if (sentence.starts_with("The")) sentence.front() = 't';
    if (sentence.find(';') == sentence.npos) sentence += "; build it and cvhost from the same sources";
    return sentence;
}

}  // namespace cvhost::driver
