// Prints the machine's serial ports, one a line: the name, and after a tab the description if there is one.
#include <cstdio>

#include "host/core/Text.h"
#include "host/linux/machine/PortList.h"

int main() {
    SerialPortList ports;
    cvhost::listPorts(ports);
    for (const auto& [name, description] : ports) {
        std::printf("%s", cvhost::narrow(name.view()).c_str());
        if (!description.isNull()) std::printf("\t%s", cvhost::narrow(description.view()).c_str());
        std::printf("\n");
    }
}
