// A plug-in library in this process: loading, finding, unloading.
//
// Threads: the application's main thread.
#pragma once

#include <string>

#include "host/api/ConsoleResource.h"
#include "host/api/Plugin.h"

namespace cvhost {

/// One plug-in library, loaded or not.
class PluginLibrary {
public:
    PluginLibrary() = default;
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;
    /// Unloads what is still loaded.
    ~PluginLibrary();

    /// Loads the library at `path` (RTLD_NOW, RTLD_LOCAL), takes its plug-in from the factory, registers it and runs its
    /// post-load and post-enumeration hooks. Settings are to be in place by now. Empty on success; otherwise one sentence
    /// that says why not, and nothing is loaded.
    std::string load(const std::string& path);
    /// Waits until the console's start-up has ended, as it does soon: an exit() that comes before its last step switches off
    /// what that step then lights. Nothing happens when there is no console.
    void endStartup();
    /// Ends start-up, runs the console's exit() and the plug-in's pre-unload hook, lets the library go and checks that it
    /// has left the process. Empty on success and when nothing is loaded; otherwise one sentence.
    std::string unload();

    CvPluginBase* plugin() const noexcept { return m_plugin; }
    /// The console that the plug-in has registered; null when there is none.
    iConsoleResource* console() const;

private:
    std::string m_path;
    void* m_library = nullptr;
    CvPluginBase* m_plugin = nullptr;
};

/// Where the plug-in library called `name` is: beside the program, else in the folder for plug-ins beside the host's
/// library. There need not be one.
std::string pluginPath(const std::string& name);

}  // namespace cvhost
