// The library's face towards the host: a driver and a console like those of the driver that it stands in for.
#include "host/api/Plugin.h"

#include <array>
#include <atomic>

#include "host/api/ConsoleInput.h"
#include "host/api/ConsoleResource.h"
#include "host/api/Log.h"
#include "host/api/Thread.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Life.h"
#include "hostcheck/Options.h"
#include "hostcheck/Task.h"

namespace hostcheck {
namespace {

constexpr std::uint32_t consoleType = 'C' | 'O' << 8 | 'N' << 16 | 'S' << 24;

/// To the host a console; its thread tries the promises.
class Console final : public CvResourceTypeBase, public iConsoleResource, public BasicThread {
public:
    Console() : CvResourceTypeBase("CvConsole", consoleType, cvResourceConsole) {}
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    ~Console() override {
        endThread();
        ++life().consolesDeleted;
    }

    bool init() override {
        noteInit();
        if (options().list || isPassingThrough()) {
            m_active = true;
            return true;
        }
        beginThread("ConsInit", iThread::priorityNormal);
        return true;
    }
    void exit() override {
        ++life().exits;
        endThread();
        m_active = false;
    }
    bool active() const override { return m_active; }
    void threadFn() override;

    void lamp_set(int lamp, int state) override { static_cast<void>(lamp), static_cast<void>(state); }
    void enable() override { m_enabled = true; }
    void disable() override { m_enabled = false; }
    bool enabled() override { return m_enabled; }
    void force_stop() override {}
    void force_mode(int) override {}
    double get_jog_gearing() override { return 0.001; }
    void enable_wheel() override { m_wheel = true; }
    void enable_suspended_wheel() override { m_wheel = true; }
    void disable_wheel() override { m_wheel = false; }
    void suspend_wheel() override { m_wheel = false; }
    bool wheel_enabled() override { return m_wheel; }
    int get_jog_delta() override { return 0; }
    double get_jog_delta_exact() override { return 0; }
    int get_ispeed() override { return m_speed; }
    void set_ispeed(int speed) override { m_speed = speed; }
    bool jog_suspended() override { return false; }
    void show_ispeed(int) override {}
    bool key_is_down(int) override { return false; }

private:
    void tryAll(std::span<const Check> checks);
    void pressKeys();

    std::atomic<bool> m_active = false;
    std::atomic<bool> m_enabled = true;
    std::atomic<bool> m_wheel = false;
    std::atomic<int> m_speed = 0;
    std::array<bool, ConsoleHandlerTable::codes> m_pressed{};
};

void Console::tryAll(std::span<const Check> checks) {
    for (const Check& check : checks) {
        if (keepRunning()) run(check);
    }
}

void Console::threadFn() {
    for (const auto& group : {threadChecks(), settingsChecks(), memoryChecks(), eventChecks(), fileChecks(),
                              keyQueueChecks(), serialChecks(), serialThreadChecks(), logChecks()}) {
        tryAll(group);
    }
    m_active = true;
    while (keepRunning()) {
        if (handlerTable() != nullptr) {
            tryAll(handlerChecks());
            pressKeys();
        }
        sleepFor(milliseconds(20));
    }
    for (const Check& check : handlerChecks()) {
        if (isChosen(check.id) && verdictOf(check.id) == Verdict::untried)
            record(check.id, notTried("the host set no handler table between active() and exit()"));
    }
}

/// Each key that the host has a handler for is pressed once, as a user would try it.
void Console::pressKeys() {
    for (int code = 0; code < ConsoleHandlerTable::codes; ++code) {
        bool& pressed = m_pressed[static_cast<std::size_t>(code)];
        if (pressed || !console_has_handler(code)) continue;
        pressed = true;
        console_call_handler(code);
    }
}

class Driver final : public CvDeviceDriverBase {
public:
    Driver() : CvDeviceDriverBase("1.0", "Host Check") {}

    void postLoadInitialization() override;
    void postEnumerationInitialization() override { notePostEnumeration(); }
    void preUnloadDeinitialization() override;

    /// Looks for the console as the driver does: among the resources of plug-ins that are initialised.
    static CvResourceTypeBase* findConsole(CvResourceType type, std::string_view name);
    void setInitialised(bool initialised) { m_initialised = initialised; }
    CvComponentBase* console() const { return m_components.empty() ? nullptr : m_components.front(); }
};

Driver& driver() {
    static Driver only;
    return only;
}

CvResourceTypeBase* Driver::findConsole(CvResourceType type, std::string_view name) {
    CvDeviceDriverManagerIter resource;
    resource.init(CvDeviceDriverManager::theDeviceDriverManager(), true, 0);
    resource.init(type);
    for (int steps = 0; *resource != nullptr && steps < 1000; ++steps, ++resource) {
        if ((*resource)->componentName().view() == name) return *resource;
    }
    return nullptr;
}

Outcome walkFinds() {
    return Driver::findConsole(cvResourceConsole, "CvConsole") != nullptr ? pass()
                                                                          : fail("the console is not among the resources");
}

Outcome walkPassesOver() {
    driver().setInitialised(false);
    const auto* const found = dynamic_cast<Console*>(Driver::findConsole(cvResourceConsole, "CvConsole"));
    driver().setInitialised(true);
    return found == nullptr ? pass() : fail("a console is found whose plug-in is not initialised");
}

Outcome walkKnowsType() {
    constexpr auto noType = static_cast<CvResourceType>(7777);
    return Driver::findConsole(noType, "CvConsole") == nullptr ? pass() : fail("the console is found as another type");
}

Outcome castsDown() {
    CvResourceTypeBase* const found = Driver::findConsole(cvResourceConsole, "CvConsole");
    if (found == nullptr) return notTried("the walk does not find the console");
    return dynamic_cast<Console*>(found) == driver().console() ? pass()
                                                               : fail("what the walk finds is not the console itself");
}

void Driver::postLoadInitialization() {
    notePostLoad();
    if (!m_components.empty()) return;
    m_components.push_back(new Console);
    m_initialised = true;
    if (options().list || isPassingThrough()) return;
    run({"life-walk-finds", &walkFinds});
    run({"life-walk-type", &walkKnowsType});
    run({"life-walk-initialised", &walkPassesOver});
    run({"life-downcast", &castsDown});
}

void Driver::preUnloadDeinitialization() {
    if (!m_initialised) return;
    m_initialised = false;
    try {
        closedown();
    } catch (...) {
        LogBoth("hostcheck: closedown() has thrown\n");
    }
    notePreUnload(!m_components.empty());
    ++life().preUnloads;
}

}  // namespace
}  // namespace hostcheck

/// Stores the plug-in's address where `out` points. True once it is initialised.
extern "C" __attribute__((visibility("default"))) bool cvPluginInstance(CvPluginBase** out) {
    hostcheck::noteFactory();
    *out = &hostcheck::driver();
    return hostcheck::driver().initialised();
}
