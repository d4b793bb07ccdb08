// bench_load ROUNDS: dlopen and the factory's first call, of the plug-in and of an empty one, by turns, in microseconds.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "host/api/Plugin.h"
#include "host/core/Settings.h"

namespace {

double load(const std::string& path) {
    const auto begin = std::chrono::steady_clock::now();
    void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    CvPluginBase* plugin = nullptr;
    if (library == nullptr || reinterpret_cast<CvPluginFactory>(::dlsym(library, "cvPluginInstance"))(&plugin)) {
        std::fprintf(stderr, "bench_load: %s: %s\n", path.c_str(), library == nullptr ? ::dlerror() : "loaded already");
        std::exit(1);
    }
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begin;
    ::dlclose(library);
    return took.count();
}

}  // namespace

int main(int count, char** arguments) {
    const int rounds = count > 1 ? std::atoi(arguments[1]) : 100;
    const std::string folder = std::filesystem::canonical("/proc/self/exe").parent_path().string() + "/";
    nlohmann::json result{{"settings", cvhost::settings().find("none").has_value()}};  // the host's library is there
    for (const char* name : {"CorvaneConsole", "empty_plugin"}) load(folder + name + ".so");
    for (int round = 0; round < rounds; ++round) {
        for (const char* name : {"CorvaneConsole", "empty_plugin"}) result[name].push_back(load(folder + name + ".so"));
    }
    std::printf("%s\n", result.dump().c_str());
    return 0;
}
