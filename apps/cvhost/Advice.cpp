#include "apps/cvhost/Advice.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "apps/cvhost/Escape.h"

namespace cvhost {
namespace {

/// The name of the group that a device belongs to.
std::string groupOf(const struct stat& device) {
    const group* entry = ::getgrgid(device.st_gid);
    return entry == nullptr ? "dialout" : entry->gr_name;
}

std::string whyNotOpen(const Heard& heard) {
    const std::string name = plainText(heard.triedPort);
    const std::string reason = heard.openFailure.empty() ? name : plainText(heard.openFailure);
    if (!heard.triedPort.starts_with('/')) {
        return "cannot open " + reason + "; check the name, and that whatever serves the port there is running";
    }
    struct stat device{};
    if (::stat(heard.triedPort.c_str(), &device) != 0 && errno == ENOENT) {
        return "there is no " + name +
               "; plug the console's serial adapter in, check its cable, or name another port with --port";
    }
    if (::access(heard.triedPort.c_str(), R_OK | W_OK) != 0 && errno == EACCES) {
        return name + " may not be used by this user; join its group (sudo usermod -aG " + groupOf(device) +
               " $USER) and log in again";
    }
    const bool busy = reason.find("busy") != reason.npos;
    return "cannot open " + reason + (busy ? "; close the other program that uses it" : "; name another port with --port");
}

}  // namespace

std::string whyNoConsole(const Heard& heard, Circumstances circumstances) {
    if (!circumstances.preferred) {
        return "the preference HardwareConsoleEnabled is off, so none is looked for; run with --prefer "
               "HardwareConsoleEnabled=true";
    }
    const std::string name = plainText(heard.triedPort);
    if (heard.portLost) return name + " was lost; check the adapter and its cable";
    if (!heard.portOpen && !heard.openFailure.empty()) return whyNotOpen(heard);
    if (!circumstances.waited) return "the program ended before start-up was done; let it run a few seconds longer";
    if (heard.triedPort.empty()) return "no port is named to look on; name one with --port";
    if (!heard.portOpen) return whyNotOpen(heard);
    return name +
           " is open, but after a reset through RTS and six requests for its version no console has answered; check "
           "that it is switched on, that its cable carries RTS, and that this is its port";
}

}  // namespace cvhost
