#include "apps/cvhost/Advice.h"

#include <unistd.h>

#include <cerrno>
#include <variant>

#include "apps/cvhost/Escape.h"
#include "host/core/Settings.h"

namespace cvhost {
namespace {

/// A device that is looked for by this name alone. One that is chosen by its description is found under any.
bool isFixed(const std::string& port) {
    const auto value = settings().find("console_port");
    const auto* name = value ? std::get_if<std::string>(&*value) : nullptr;
    return name != nullptr && *name == port && port.starts_with('/');
}

std::string whyNotOpen(const Heard& heard) {
    const std::string name = plainText(heard.triedPort);
    const std::string reason = heard.openFailure.empty() ? name : plainText(heard.openFailure);
    if (!heard.triedPort.starts_with('/')) {
        return "cannot open " + reason + "; check the name, and that whatever serves the port there is running";
    }
    if (::access(heard.triedPort.c_str(), F_OK) != 0 && errno == ENOENT) {
        return "there is no " + name +
               "; plug the console's serial adapter in, check its cable, or name another port with --port";
    }
    if (const auto access = accessTo(heard.triedPort); access && !access->allowed) {
        return name + " may not be used by this user; " + howToBeAllowed(*access, name);
    }
    const bool busy = reason.find("busy") != reason.npos;
    return "cannot open " + reason + (busy ? "; close the other program that uses it" : "; name another port with --port");
}

}  // namespace

std::string howToBeAllowed(const PortAccess& access, const std::string& port) {
    if (access.inGroupLater) {
        return access.user + " is in the group " + access.group + ", but not in this session: log out and in again";
    }
    if (access.groupHelps) return "sudo usermod -aG " + access.group + ' ' + access.user + ", then log out and in again";
    return "sudo chown " + access.user + ' ' + port + " helps until it is unplugged";
}

std::string whyNoConsole(const Heard& heard, Circumstances circumstances) {
    if (!circumstances.preferred) {
        return "the preference HardwareConsoleEnabled is off, so none is looked for; run with --prefer "
               "HardwareConsoleEnabled=true";
    }
    const std::string name = plainText(heard.triedPort);
    if (heard.portLost) {
        return name + " was lost; check the adapter and its cable" +
               (isFixed(heard.triedPort) ? "; it may be back under another name: see \"cvhost ports\"" : "");
    }
    if (!heard.portOpen && !heard.openFailure.empty()) return whyNotOpen(heard);
    if (!circumstances.waited) return "the program ended before start-up was done; let it run a few seconds longer";
    if (heard.triedPort.empty()) return "no port is named to look on; name one with --port";
    if (!heard.portOpen) return whyNotOpen(heard);
    return name + " is open, but after " + (heard.rtsMissing ? "" : "a reset through RTS and ") +
           "six requests for its version no console has answered; check that it is switched on, that its " +
           (heard.rtsMissing ? "program runs, for the port has no RTS line to reset it with" : "cable carries RTS") +
           ", and that this is its port";
}

}  // namespace cvhost
