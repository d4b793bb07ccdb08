// The plug-ins that the host has loaded, and what they have registered.
//
// Threads: the host's main thread.
#pragma once

#include "host/api/ConsoleResource.h"
#include "host/api/Plugin.h"

namespace cvhost {

/// Makes a loaded plug-in known to the managers and their iterators; a second time is ignored. Not owned.
void registerPlugin(CvPluginBase* plugin);
/// Forgets the plug-in; harmless when it is not known.
void unregisterPlugin(CvPluginBase* plugin);
/// The console that `plugin` has registered; null when there is none.
iConsoleResource* consoleOf(const CvPluginBase& plugin);

}  // namespace cvhost
