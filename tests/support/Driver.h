// The driver within a world, loaded and unloaded as a host does it, any number of times in one process.
//
// Threads: the world's.
#pragma once

#include "console/Console.h"
#include "host/api/Plugin.h"

namespace support {

/// Gives the driver's module-wide state the values that it has when the library has just been loaded with no settings.
/// Needs no world.
void resetDriver();

/// Has the driver read, in a world of its own, the one setting that it reads once and keeps: "BeyondPlayMultiplier".
/// Without it the first status packet in a process reads the setting, and later ones do not. Only the first call in a
/// process does anything. No world may exist.
void fixBeyondPlayMultiplier(double value = 1.0);

/// The driver's plug-in, known to the host from here on: factory, registration, post-load and post-enumeration hooks.
/// Needs a world.
class Plugin {
public:
    Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;
    /// The console's exit(), the pre-unload hook, and out of the host's list.
    ~Plugin();

    CvPluginBase& plugin() const { return *m_plugin; }
    /// The console that it has registered.
    Cv::Console& console() const { return *m_console; }

private:
    CvPluginBase* m_plugin = nullptr;
    Cv::Console* m_console = nullptr;
};

}  // namespace support
