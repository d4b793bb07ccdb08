// Which port the driver would look for the console on. The driver itself is asked: it is loaded and started in a host whose
// ports cannot be opened.
//
// Threads: the application's main thread, while no plug-in is loaded.
#pragma once

#include <string>
#include <string_view>

#include "host/linux/PluginLibrary.h"

namespace cvhost::ports {

struct PortChoice {
    enum class Why {
        description,  ///< the port's description
        setting,      ///< the setting console_port
        builtIn,      ///< the driver's own default, as no description fits and no setting is a text
        asked,        ///< the user has named it
        nothing,      ///< no port is looked for
        unknown,      ///< the driver could not be asked
    };

    Why why = Why::unknown;
    std::string name{};       ///< empty for nothing and unknown
    PluginFailure failure{};  ///< of unknown: why
};

/// Asks the driver. Set all settings before. Afterwards the port list is the machine's own.
PortChoice askDriver();

/// How a text begins: with a capital, or without one to follow other words.
enum class Opening { sentence, clause };

/// `choice` without a full stop; `description` is the port's.
std::string choiceText(const PortChoice& choice, std::string_view description, Opening opening);

}  // namespace cvhost::ports
