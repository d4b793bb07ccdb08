// A desk behind a USB serial adapter: a device of the running kernel when the connection's other end has been plugged in.
//
// RTS is high until a host says otherwise, and again when the kernel has let go of the device.
#pragma once

#include <string>

#include "host/core/FileDescriptor.h"
#include "lines/Backlog.h"
#include "lines/Line.h"
#include "lines/UsbIp.h"

namespace lines {

class UsbLine final : public Line {
public:
    /// `connection`: the device's end. `product`: the adapter's product text, printable
    /// ASCII, 126 characters at most. `watcher` is called on the server's thread with the desk's lock held.
    UsbLine(cvhost::FileDescriptor connection, std::string product, SettingsWatcher watcher = {});

    /// The product text.
    const std::string& name() const override { return m_product; }
    void watchFor(std::vector<pollfd>& waits) const override;
    void service(desk::Machine& desk, desk::Time now) override;
    void send(std::span<const unsigned char> bytes, desk::Time now) override;
    std::optional<desk::Time> nextEvent() const override;

private:
    /// False after the kernel has let go of the device.
    bool receive(desk::Machine& desk, desk::Time now);
    bool flush();

    std::string m_product;
    cvhost::FileDescriptor m_connection;
    UsbIp m_device;
    Backlog m_backlog;
};

}  // namespace lines
