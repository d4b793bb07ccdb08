// `cvhost doctor`: looks for what keeps a console from working, and says what to do about it.
//
// Threads: the application's main thread.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/common/LineWriter.h"
#include "apps/common/MainLoop.h"
#include "apps/cvhost/doctor/Bundle.h"
#include "apps/cvhost/doctor/Checks.h"
#include "apps/cvhost/doctor/DeskTest.h"
#include "apps/cvhost/doctor/EventLog.h"
#include "apps/cvhost/doctor/Options.h"
#include "apps/cvhost/doctor/PortChecks.h"
#include "apps/recording/Recorder.h"
#include "host/core/FileDescriptor.h"
#include "host/linux/PluginLibrary.h"

namespace cvhost::doctor {

class Doctor {
public:
    Doctor(DoctorOptions options, common::MainLoop& wake);
    Doctor(const Doctor&) = delete;
    Doctor& operator=(const Doctor&) = delete;
    ~Doctor();

    /// The program's exit status.
    int run();

private:
    /// False when there can be no bundle.
    bool openBundle();
    void prepareHost();
    /// All that can be said without opening the port. False when there is no use in going on.
    bool examineMachine();
    /// Runs the driver until it has found a console or has not. True when a console is active.
    bool examineStartup();
    void skipTests();
    void examineDesk();
    void askForKeys();
    void stopDriver();
    void tellEnd();
    /// False if it could not be written; the error has already been printed.
    bool writeBundle();

    /// Waits for an event, but at most so long; true when the program must end.
    bool wait(std::chrono::milliseconds timeout);
    /// Waits until the driver has sent nothing for a moment, or the program must end.
    void waitUntilSettled();
    void add(Check check);
    void say(std::string_view line);
    /// A line that the next one replaces, where that can be.
    void progress(std::string_view text);
    bool anyFailed() const { return worst(m_checks) == Check::Result::fail; }

    const DoctorOptions m_options;
    common::MainLoop& m_wake;
    common::LineWriter m_output;
    const bool m_colour;
    const bool m_live;  ///< progress can be shown
    std::optional<Bundle> m_bundle;
    FileDescriptor m_recording;  ///< a file in memory, for the bundle
    std::unique_ptr<recording::Recorder> m_recorder;
    EventLog m_events;
    PortCircumstances m_circumstances{};
    PluginLibrary m_plugin;
    std::optional<DeskTest> m_deskTest;  ///< the driver may call its handlers until it is unloaded
    std::string m_driver;                ///< its name and version
    std::vector<Check> m_checks;
    std::string m_report;  ///< all that was said
    bool m_ended = false;  ///< by a signal
};

}  // namespace cvhost::doctor
