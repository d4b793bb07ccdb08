// A plug-in that tells in the log what is done with it.
#include "host/api/Log.h"
#include "host/api/Plugin.h"
#include "host/api/Settings.h"
#include "tests/unit/host/FakeConsole.h"

namespace {

class FakePlugin final : public CvDeviceDriverBase {
public:
    FakePlugin() : CvDeviceDriverBase("1.2", "Fake") {}
    ~FakePlugin() override {
        closedown();
        LogBoth("destroyed, consoles deleted: %d\n", FakeConsole::deleted);
    }
    void postLoadInitialization() override {
        LogBoth("post-load\n");
        m_components.push_back(new FakeConsole);
        m_initialised = true;
    }
    void postEnumerationInitialization() override { LogBoth("post-enumeration\n"); }
    void preUnloadDeinitialization() override {
        LogBoth("pre-unload, exits: %d\n", FakeConsole::exits);
        m_initialised = false;
    }
};

}  // namespace

extern "C" __attribute__((visibility("default"))) bool cvPluginInstance(CvPluginBase** out) {
    if (config_int("fake_gives_none", 0, 0, 1) == 1) return false;
    static FakePlugin plugin;
    *out = &plugin;
    return plugin.initialised();
}
