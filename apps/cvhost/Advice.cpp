#include "apps/cvhost/Advice.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "apps/cvhost/Escape.h"

namespace cvhost {
namespace {

std::string howToBeAllowed(const struct stat& device) {
    const bool groupMay = (device.st_mode & (S_IRGRP | S_IWGRP)) == (S_IRGRP | S_IWGRP);
    const group* entry = device.st_gid == 0 || !groupMay ? nullptr : ::getgrgid(device.st_gid);
    if (entry == nullptr) return "; have its access rights changed";
    return std::string("; join its group (sudo usermod -aG ") + entry->gr_name + " $USER) and log in again";
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
        return name + " may not be used by this user" + howToBeAllowed(device);
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
