#include "plugin/Driver.h"

#include <cstdio>
#include <memory>

#include "console/Console.h"

namespace Console {

DeviceDriver::DeviceDriver() : CvDeviceDriverBase("17.1.0.150805", "Console Driver") {}

DeviceDriver::~DeviceDriver() { handBackComponents(); }

void DeviceDriver::postLoadInitialization() {
    if (Cv::Console::open_console_driver()) return;

    CvDeviceDriverManagerIter resource;
    resource.init(CvDeviceDriverManager::theDeviceDriverManager(), true, 0);
    resource.init(cvResourceConsole);
    while (*resource != nullptr && dynamic_cast<Cv::Console*>(*resource) == nullptr) ++resource;
    if (*resource == nullptr) registerResources();
    m_initialised = true;
}

void DeviceDriver::registerResources() {
    auto console = std::make_unique<Cv::Console>();
    m_components.push_back(console.get());
    console.release();
}

void DeviceDriver::preUnloadDeinitialization() {
    if (!m_initialised) return;
    m_initialised = false;
    handBackComponents();
}

void DeviceDriver::handBackComponents() noexcept {
    try {
        closedown();
    } catch (...) {
        std::printf("Exception freeing deleting Software devices\n");
    }
}

}  // namespace Console

bool cvPluginInstance(CvPluginBase** out) {
    static Console::DeviceDriver driver;
    *out = &driver;
    return driver.initialised();
}
