// A plug-in library in this process: loading, finding, unloading.
//
// Threads: the application's main thread.
#pragma once

#include <optional>
#include <string>

#include "host/api/ConsoleResource.h"
#include "host/api/Plugin.h"

namespace cvhost {

/// Why a plug-in could not be loaded or unloaded. Both are clauses, without a capital and a full stop.
struct PluginFailure {
    std::string what;      ///< "there is no plug-in /usr/lib/a.so"
    std::string remedy{};  ///< "build or install it there"; empty if the library does not know one
};

/// One plug-in library, loaded or not.
class PluginLibrary {
public:
    PluginLibrary() = default;
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    /// Unloads what is still loaded.
    ~PluginLibrary();

    /// Loads the library at `path` (RTLD_NOW, RTLD_LOCAL), takes its plug-in from the factory, registers it and runs its
    /// post-load and post-enumeration hooks. Set all settings before. After a failure nothing is loaded.
    std::optional<PluginFailure> load(const std::string& path);
    /// Ends the console's start-up and waits for its thread, which ends within one step. Without this, start-up's last step
    /// may light lamps after exit() has switched them off. Does nothing without a console.
    void endStartup();
    /// Ends start-up, runs the console's exit() and the plug-in's pre-unload hook, closes the library and checks that it has
    /// left the process. Does nothing when nothing is loaded.
    std::optional<PluginFailure> unload();

    CvPluginBase* plugin() const noexcept { return m_plugin; }
    /// The console that the plug-in has registered; null when there is none.
    iConsoleResource* console() const;

private:
    std::string m_path;
    void* m_library = nullptr;
    CvPluginBase* m_plugin = nullptr;
};

/// Where the plug-in library called `name` is: beside the program, else in the folder for plug-ins beside the host's
/// library. It may not exist.
std::string pluginPath(const std::string& name);

}  // namespace cvhost
