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
    const std::string device = ports::resolvedPort(port);
    const std::vector<PortHolder> holders = holdersOf(device);
    if (holders.empty()) return {};
    return "process " + common::plainText(ports::holderText(holders.front())) + "; " +
           ports::howToEnd(holders.front(), common::plainText(device));
}

/// Why the port could not be opened, if that is known.
std::string openFailure(const wire::StartupFacts& startup, const std::string& device) {
    return common::plainText(startup.cannotOpen() ? device + ": " + startup.trouble->reason : device);
}

std::string refusalText(const wire::StartupFacts& startup, const std::string& device) {
    return common::plainText(device + " does not take 9600 baud, 8N1: " + startup.trouble->reason) +
           (device.starts_with(rfc2217Prefix) ? "; set its server to 9600 baud, 8N1" : "; use another adapter");
}

std::string whyNotOpen(const wire::StartupFacts& startup) {
    const std::string device = ports::deviceOf(startup.triedPort);
    const std::string name = ports::describedPort(device);
    const std::string failure = "cannot open " + openFailure(startup, device);
    if (const auto problem = ports::portNameProblem(startup.triedPort)) {
        return *problem + "; correct the setting console_port";
    }
    if (startup.refusesSettings()) return refusalText(startup, device);
    if (startup.triedPort.starts_with(rfc2217Prefix)) {
        const bool closed = startup.cannotOpen() && startup.trouble->error == ECONNRESET;
        return failure + (closed ? "; end that client, or see on the server whether its serial port is there"
                                 : "; check the name, and that whatever serves the port there is running");
    }
    if (::access(device.c_str(), F_OK) != 0 && errno == ENOENT) {
        return "there is no " + name +
               "; plug the console's serial adapter in, check its cable, or name another port with --port";
    }
    if (const auto access = accessTo(device); access && !access->allowed) {
        return name + " may not be used by this user; " + ports::howToBeAllowed(*access, name);
    }
    if (!ports::mayBeTerminal(device)) return failure + "; name another port with --port";
    if (const std::string holder = holderAdvice(device); !holder.empty()) {
        return name + " is in use: " + holder;
    }
    return failure + "; \"sudo cvhost ports\" shows whether another program uses it";
}

/// It was lost, and nothing but its absence has kept it shut since.
bool isStillLost(const wire::StartupFacts& startup) {
    return startup.isLost() && (!startup.cannotOpen() || startup.trouble->error == ENOENT);
}

std::string lostText(const std::string& port) {
    const std::string lost = common::plainText(port) + " was lost; check ";
    if (port.starts_with(rfc2217Prefix)) return lost + "that its server is running, and the network to it";
    return lost + "the adapter and its cable" +
           (isFixed(port) ? "; it may be back under another name: see \"cvhost ports\"" : "");
}

/// What an open port has brought so far, and what to do about it. `inUse` names another process that has it.
std::string silenceText(const wire::StartupFacts& startup, const std::string& inUse) {
    constexpr const char* more = "; \"cvhost doctor\" shows more";
    const std::string asked = "six requests for its version no console has answered; " + inUse;
    if (startup.notTaking) {
        return ", but does not take the bytes that are sent; " + inUse +
               "see that nothing holds the line back (flow control, a paused terminal)" + more;
    }
    if (startup.received.count != 0 && !startup.prompted) {
        return " and bytes come, but no prompt among them; " + inUse +
               "see whether another device is on this port: a console's cable may be damaged, or its line not at 9600 baud" +
               more;
    }
    if (startup.rtsMissing) {
        return ", but after " + asked +
               "check that it is switched on, that its program runs, for the port has no RTS line to reset it with, and "
               "that this is its port";
    }
    if (startup.rtsUncertain) {
        return ", but after " + asked +
               "its other end does not offer to drive RTS: check that the console is switched on, that its program runs, "
               "and that this is its port" +
               more;
    }
    return ", but after a reset through RTS and " + asked +
           "check that it is switched on, that its cable carries RTS, and that this is its port";
}

Diagnosis silent(const wire::StartupFacts& startup) {
    const std::string device = ports::deviceOf(startup.triedPort);
    if (startup.refusesSettings()) return {Diagnosis::Reason::silent, refusalText(startup, device)};
    const std::string holder = holderAdvice(device);
    const std::string inUse = holder.empty() ? "" : "it is also in use: " + holder + "; ";
    return {Diagnosis::Reason::silent, common::plainText(device) + " is open" + silenceText(startup, inUse)};
}

}  // namespace

Diagnosis whyNoConsole(const wire::StartupFacts& startup, Circumstances circumstances) {
    using Reason = Diagnosis::Reason;
    if (!circumstances.preferred) {
        return {Reason::other,
                "the preference HardwareConsoleEnabled is off, so none is looked for; run with --prefer "
                "HardwareConsoleEnabled=true"};
    }
    if (isStillLost(startup)) return {Reason::portLost, lostText(startup.triedPort)};
    if (!startup.isOpen() && startup.cannotOpen()) return {Reason::other, whyNotOpen(startup)};
    if (!circumstances.waited) {
        return {Reason::tooEarly, "the program ended before start-up was done; let it run a few seconds longer"};
    }
    if (startup.triedPort.empty()) return {Reason::other, "no port is named to look on; name one with --port"};
    return startup.isOpen() ? silent(startup) : Diagnosis{Reason::other, whyNotOpen(startup)};
}

std::string runStatus(const wire::StartupFacts& startup, const std::string& work) {
    if (startup.active && startup.version)
        return "active, version " + std::to_string(*startup.version) + (work.empty() ? "" : ", " + common::plainText(work));
    if (startup.triedPort.empty()) return "looking for no console";
    const std::string port = (startup.triedPort == ports::anyConsole ? "an " : "") + ports::describedPort(startup.triedPort);
    if (startup.isOpen()) return "waiting for an answer from the console on " + port;
    return "waiting for a console on " + port +
           (startup.cannotOpen() ? ": " + common::plainText(startup.trouble->reason) : "");
}

Diagnosis better(const std::optional<Diagnosis>& known, Diagnosis now) {
    using Reason = Diagnosis::Reason;
    const bool stillHolds = known && (known->reason == Reason::silent || known->reason == Reason::portLost);
    return now.reason == Reason::tooEarly && stillHolds ? *known : now;
}

}  // namespace cvhost::run
