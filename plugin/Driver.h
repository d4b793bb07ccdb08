// The library's face towards the host's plug-in manager.
//
// Threads: the host's main thread; the factory may be called from any.
#pragma once

#include "host/api/Plugin.h"

namespace Console {

/// Registers one console object with the host. There is one driver in the process.
class DeviceDriver : public CvDeviceDriverBase {
public:
    DeviceDriver();
    ~DeviceDriver() override;

    void postLoadInitialization() override;
    void preUnloadDeinitialization() override;

    /// Creates a console object and adds it to the components. Throws what its construction throws.
    void registerResources();

private:
    void handBackComponents() noexcept;
};

}  // namespace Console

/// Stores the driver's address where `out` points. True once the driver is initialised.
extern "C" bool cvPluginInstance(CvPluginBase** out);
