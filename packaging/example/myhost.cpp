// A host of forty lines: it brings the console up, lights lamp 5, and waits until the key with code 5 is pressed.
#include <cstdio>

#include "host/api/ConsoleInput.h"
#include "host/api/OS.h"
#include "host/api/Settings.h"
#include "host/core/Settings.h"
#include "host/linux/PluginLibrary.h"
#include "host/linux/SettingsFile.h"

struct Key final : ConsoleHandler {
    const Cv::Ptr<iThreadEvent> pressed = OS().threading().createThreadEvent(0, 0, 0);
    bool execute(int) override { return pressed->signal(), true; }  // on the serial port's thread
};

int main() {
    // Without this, no console is looked for unless the user's settings file says so.
    cvhost::settings().setPreferenceDefault("HardwareConsoleEnabled", true);
    cvhost::loadSettingsFile();  // ~/.config/cvhost/cvhost.toml, if there is one
    cvhost::PluginLibrary driver;
    if (const auto failure = driver.load(cvhost::pluginPath("CorvaneConsole.so"))) {
        return std::fprintf(stderr, "%s\n", failure->what.c_str()), 1;
    }
    iConsoleResource& console = *driver.console();
    console.init();
    const auto port = config_string("console_port", "/dev/ttyUSB0");
    std::printf("Waiting for a console: on an adapter called Corvane or USB Serial Port, else on %s.\n", port.c_str());
    if (!prefs().getPreference("HardwareConsoleEnabled", true)) std::puts("HardwareConsoleEnabled is off: none will come.");
    std::fflush(stdout);
    while (!console.active()) OS().threading().sleep(100);
    // The driver's start-up ends about half a second later, by switching lamps and wheel off: what is lit before goes out.
    OS().threading().sleep(1000);

    Key key;
    ConsoleHandlerTable table;
    table.set(5, &key);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&table);
    console.lamp_set(5, 'F');
    std::puts("Press the key with code 5.");
    std::fflush(stdout);
    while (key.pressed->wait(1000) != 0) {
    }
    driver.unload();  // which switches the lamps off
}
