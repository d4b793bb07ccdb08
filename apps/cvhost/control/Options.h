// What the command line says to `cvhost ctl`.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "apps/common/Subcommand.h"
#include "apps/cvhost/control/Command.h"

namespace cvhost::control {

struct CtlRequest {
    enum class Kind { watch, status, work };

    Kind kind = Kind::watch;
    std::vector<std::string> commands{};  ///< lines for the socket, without their ends
};

/// What the words after `cvhost ctl` ask for.
std::variant<CtlRequest, Problem> ctlRequest(const std::vector<std::string>& words);

struct CtlOptions {
    std::string socket;  ///< empty: at the default path
    bool json = false;   ///< the status as it comes
    std::vector<std::string> words;
    CtlRequest request;
};

common::Subcommand addCtl(CLI::App& app);
common::Subcommand addStatus(CLI::App& app);

}  // namespace cvhost::control
