#include "apps/cvhost/run/Advice.h"

#include <unistd.h>

#include <cerrno>
#include <variant>
#include <vector>

#include "apps/common/Escape.h"
#include "apps/cvhost/ports/Permission.h"
#include "apps/cvhost/ports/PortName.h"
#include "apps/cvhost/ports/PortSurvey.h"
#include "host/core/Settings.h"
#include "host/linux/serial/Rfc2217.h"

namespace cvhost::run {
namespace {

/// A device that is looked for by this name alone. One that is chosen by its description is found under any.
bool isFixed(const std::string& port) {
    const auto value = settings().find("console_port");
    const auto* name = value ? std::get_if<std::string>(&*value) : nullptr;
    return name != nullptr && *name == port && port.starts_with('/');
}

/// "process 812 (ModemManager) has it open; sudo systemctl stop ModemManager"; empty without a holder.
std::string holderAdvice(const std::string& port) {
    const std::vector<PortHolder> holders = holdersOf(port);
    if (holders.empty()) return {};
    return "process " + common::plainText(ports::holderText(holders.front())) + "; " +
           ports::howToEnd(holders.front(), common::plainText(port));
}

Diagnosis whyNotOpen(const RunState& state) {
    using Reason = Diagnosis::Reason;
    const std::string name = common::plainText(state.triedPort);
    const std::string failure = "cannot open " + (state.openFailure.empty() ? name : common::plainText(state.openFailure));
    if (const auto problem = ports::portNameProblem(state.triedPort)) {
        return {Reason::portBad, *problem + "; correct the setting console_port"};
    }
    if (state.triedPort.starts_with(rfc2217Prefix)) {
        return {Reason::portNotOpen, failure + "; check the name, and that whatever serves the port there is running"};
    }
    if (::access(state.triedPort.c_str(), F_OK) != 0 && errno == ENOENT) {
        return {Reason::portMissing,
                "there is no " + name +
                    "; plug the console's serial adapter in, check its cable, or name another port with --port"};
    }
    if (const auto access = accessTo(state.triedPort); access && !access->allowed) {
        return {Reason::portForbidden, name + " may not be used by this user; " + ports::howToBeAllowed(*access, name)};
    }
    if (!ports::mayBeTerminal(state.triedPort)) return {Reason::portNotOpen, failure + "; name another port with --port"};
    if (const std::string holder = holderAdvice(state.triedPort); !holder.empty()) {
        return {Reason::portHeld, name + " is in use: " + holder};
    }
    return {Reason::portNotOpen, failure + "; \"sudo cvhost ports\" shows whether another program uses it"};
}

Diagnosis silent(const RunState& state) {
    const std::string holder = holderAdvice(state.triedPort);
    return {Diagnosis::Reason::silent,
            common::plainText(state.triedPort) + " is open, but after " +
                (state.rtsMissing ? "" : "a reset through RTS and ") +
                "six requests for its version no console has answered; " +
                (holder.empty() ? "" : "it is also in use: " + holder + "; ") + "check that it is switched on, that its " +
                (state.rtsMissing ? "program runs, for the port has no RTS line to reset it with" : "cable carries RTS") +
                ", and that this is its port"};
}

}  // namespace

Diagnosis whyNoConsole(const RunState& state, Circumstances circumstances) {
    using Reason = Diagnosis::Reason;
    if (!circumstances.preferred) {
        return {Reason::preferenceOff,
                "the preference HardwareConsoleEnabled is off, so none is looked for; run with --prefer "
                "HardwareConsoleEnabled=true"};
    }
    if (state.portLost) {
        return {Reason::portLost,
                common::plainText(state.triedPort) + " was lost; check the adapter and its cable" +
                    (isFixed(state.triedPort) ? "; it may be back under another name: see \"cvhost ports\"" : "")};
    }
    if (!state.portOpen && !state.openFailure.empty()) return whyNotOpen(state);
    if (!circumstances.waited) {
        return {Reason::tooEarly, "the program ended before start-up was done; let it run a few seconds longer"};
    }
    if (state.triedPort.empty()) return {Reason::noPort, "no port is named to look on; name one with --port"};
    return state.portOpen ? silent(state) : whyNotOpen(state);
}

Diagnosis better(const std::optional<Diagnosis>& known, Diagnosis now) {
    using Reason = Diagnosis::Reason;
    const bool stillHolds = known && (known->reason == Reason::silent || known->reason == Reason::portLost);
    return now.reason == Reason::tooEarly && stillHolds ? *known : now;
}

}  // namespace cvhost::run
