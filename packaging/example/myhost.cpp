// A host of thirty lines: it brings the console up, lights lamp 5, and waits until the key with code 5 is pressed.
#include <cstdio>

#include "host/api/ConsoleInput.h"
#include "host/api/OS.h"
#include "host/linux/PluginLibrary.h"
#include "host/linux/SettingsFile.h"

struct Key final : ConsoleHandler {
    const Cv::Ptr<iThreadEvent> pressed = OS().threading().createThreadEvent(0, 0, 0);
    bool execute(int) override { return pressed->signal(), true; }  // on the serial port's thread
};

int main() {
    cvhost::loadSettingsFile();  // the preference HardwareConsoleEnabled and the setting console_port
    cvhost::PluginLibrary driver;
    if (const auto failure = driver.load(cvhost::pluginPath("CorvaneConsole.so"))) {
        return std::fprintf(stderr, "%s\n", failure->what.c_str()), 1;
    }
    iConsoleResource& console = *driver.console();
    console.init();
    while (!console.active()) OS().threading().sleep(100);
    // The driver's start-up ends about half a second later, by switching lamps and wheel off: what is lit before goes out.
    OS().threading().sleep(1000);

    Key key;
    ConsoleHandlerTable table;
    table.set(5, &key);
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&table);
    console.lamp_set(5, 'F');
    while (key.pressed->wait(1000) != 0) std::puts("Press the key with code 5.");
    driver.unload();  // which switches the lamps off
}
