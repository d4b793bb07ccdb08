#include "apps/cvhost/ports/Permission.h"

namespace cvhost::ports {

std::string howToBeAllowed(const PortAccess& access, const std::string& port) {
    if (access.inGroupLater) {
        return access.user + " is in the group " + access.group + ", but not in this session: log out and in again";
    }
    if (access.groupHelps) return "sudo usermod -aG " + access.group + ' ' + access.user + ", then log out and in again";
    return "sudo chown " + access.user + ' ' + port + " helps until it is unplugged";
}

std::string howToEnd(const PortHolder& holder, const std::string& port) {
    if (holder.program == "ModemManager") return "sudo systemctl stop ModemManager";
    if (holder.program == "brltty") return "sudo systemctl stop brltty";
    if (holder.program == "agetty") return "sudo systemctl stop serial-getty@" + port.substr(port.rfind('/') + 1);
    return "close it, or: kill " + std::to_string(holder.process);
}

}  // namespace cvhost::ports
