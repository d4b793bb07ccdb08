// What an application needs to be a host: its plug-in, its settings, its log, its list of ports.
//
// Threads: the application's main thread, but for the log, which any thread may write to.
#pragma once

#include <string>
#include <string_view>
#include <vector>

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

/// Reads cvhost/cvhost.toml in XDG_CONFIG_HOME (~/.config by default) into settings(). No file is no error; a broken one
/// is said in the log, with line and column, and ignored. Answers what is wrong with it; empty when nothing is.
std::string loadSettingsFile();

/// Where the log goes besides the event sink: to standard error, and to cvhost/cvhost.log in XDG_STATE_HOME
/// (~/.local/state by default), which is renamed to cvhost.log.1 when it has grown to 1 MiB. At first: standard error alone.
struct LogDestinations {
    bool standardError = true;
    bool file = true;
};
void setLogDestinations(LogDestinations destinations);

/// Writes `text` to standard error. A reader that has stopped holds nobody up for longer than a second, and then no more
/// until it reads again.
void writeStandardError(std::string_view text);

/// Treats the open port `name` as lost, for a reason (a system's error number) that the port itself does not see: its device
/// has gone, or the console behind it has begun anew.
void losePort(std::string_view name, int error);
/// What a port that is lost receives last, as if it had arrived: bytes that end a packet which the loss has cut off. A
/// plug-in that keeps the beginning would take it for the beginning of what the console says when it is back. Empty at
/// first.
void setLastWords(std::string bytes);

/// A serial port as the port list shows it. Without a description, `description` is empty.
struct ShownPort {
    std::string name;
    std::string description;
};
/// Makes `ports` the whole port list, in place of the machine's own.
void showOnlyPorts(std::vector<ShownPort> ports);
/// The machine's own ports are the port list again, as at first.
void showMachinePorts();

/// While `shut`, opening a port fails at once and nothing is touched: for asking a driver which port it would open.
void keepPortsShut(bool shut);

}  // namespace cvhost
