#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "host/api/Files.h"
#include "host/api/Thread.h"
#include "host/core/Failure.h"
#include "host/core/PluginManager.h"
#include "host/core/Text.h"
#include "host/linux/PluginLibrary.h"
#include "host/linux/serial/SerialPorts.h"

namespace cvhost {
namespace {

constexpr const char* factoryName = "cvPluginInstance";

/// The path that the loader takes as it is; empty when there is no such file.
std::string absolutePath(const std::string& path) {
    char* const resolved = ::realpath(path.c_str(), nullptr);
    std::string result = resolved == nullptr ? "" : resolved;
    std::free(resolved);
    return result;
}

std::string loaderError() {
    const char* text = ::dlerror();
    return text == nullptr ? "the loader does not say why" : text;
}

}  // namespace

PluginLibrary::~PluginLibrary() {
    guarded([this] { unload(); });
}

std::optional<PluginFailure> PluginLibrary::load(const std::string& path) {
    if (m_library != nullptr) return PluginFailure{"the plug-in " + m_path + " is loaded already"};
    m_path = absolutePath(path);
    if (m_path.empty()) return PluginFailure{"there is no plug-in " + path, "build or install it there"};
    m_library = ::dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_library == nullptr) return PluginFailure{"the plug-in cannot be loaded: " + loaderError()};
    const auto factory = reinterpret_cast<CvPluginFactory>(::dlsym(m_library, factoryName));
    if (factory != nullptr) factory(&m_plugin);
    if (m_plugin == nullptr) {
        ::dlclose(std::exchange(m_library, nullptr));
        return PluginFailure{m_path + " is not a plug-in: " +
                             (factory == nullptr ? "it exports no " + std::string(factoryName) : "its factory gives none")};
    }
    registerPlugin(m_plugin);
    m_plugin->postLoadInitialization();
    m_plugin->postEnumerationInitialization();
    return std::nullopt;
}

void PluginLibrary::endStartup() {
    if (auto* const thread = dynamic_cast<BasicThread*>(console())) thread->endThread();
}

std::optional<PluginFailure> PluginLibrary::unload() {
    if (m_library == nullptr) return std::nullopt;
    endStartup();
    if (iConsoleResource* present = console()) present->exit();
    m_plugin->preUnloadDeinitialization();
    unregisterPlugin(std::exchange(m_plugin, nullptr));
    if (::dlclose(std::exchange(m_library, nullptr)) != 0) {
        return PluginFailure{"the plug-in cannot be unloaded: " + loaderError()};
    }
    releaseClosedPorts();
    void* const still = ::dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NOLOAD);
    if (still == nullptr) return std::nullopt;
    ::dlclose(still);
    return PluginFailure{"the plug-in " + m_path + " has been let go but stays in the process"};
}

std::string pluginPath(const std::string& name) {
    std::string beside = narrow(getAppPath().view()) + name;
    if (::access(beside.c_str(), F_OK) == 0) return beside;
    Dl_info library{};
    ::dladdr(reinterpret_cast<const void*>(&pluginPath), &library);
    const std::string path = absolutePath(library.dli_fname);
    return path.substr(0, path.rfind('/') + 1) + CVHOST_PLUGIN_FOLDER "/" + name;
}

iConsoleResource* PluginLibrary::console() const { return m_plugin == nullptr ? nullptr : consoleOf(*m_plugin); }

}  // namespace cvhost
