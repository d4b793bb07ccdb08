// One run: the host set up, the plug-in loaded, its console brought up, shown and shut down.
//
// Threads: the application's main thread.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "apps/common/LineWriter.h"
#include "apps/common/MainLoop.h"
#include "apps/common/RunClock.h"
#include "apps/cvhost/control/Actions.h"
#include "apps/cvhost/control/Exchange.h"
#include "apps/cvhost/control/Server.h"
#include "apps/cvhost/run/Advice.h"
#include "apps/cvhost/run/EventQueue.h"
#include "apps/cvhost/run/Handlers.h"
#include "apps/cvhost/run/Options.h"
#include "apps/cvhost/run/RestoringConsole.h"
#include "apps/cvhost/run/RunMonitor.h"
#include "apps/cvhost/run/ServiceManager.h"
#include "apps/cvhost/run/Show.h"
#include "apps/cvhost/run/Work.h"
#include "apps/cvhost/web/PageState.h"
#include "apps/cvhost/web/WebServer.h"
#include "apps/recording/Recorder.h"
#include "host/linux/PluginLibrary.h"
#include "lines/DeskServer.h"
#include "lines/FaultyLine.h"

namespace cvhost::run {

class Session {
public:
    Session(Options options, common::RunClock start, common::MainLoop& wake);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    /// Runs until the time is over, a signal ends it or nobody reads what it prints. The program's exit status.
    int run();

private:
    using Clock = std::chrono::steady_clock;

    bool startRecording();
    void prepareHost();
    void applyOptions();
    void choosePorts();
    void startDesk();
    bool startWork();
    bool startConsole();
    void startWeb();
    void startControl();
    void live();
    void takeKeys();
    void noticeLoss(const RunState& state);
    void noticeReturn(const RunState& state);
    void restartConsole();
    void advise(const RunState& state);
    void showDesk();
    void stop();
    void tellServiceManager(const RunState& state);
    void noticeRecordingEnd();
    void tellEnd();
    int result(const std::string& whyNoConsole);

    void say(std::string_view heading, std::string_view text);
    /// Says where something is that this run has made; with JSON, on standard error.
    void tellAddress(std::string_view heading, const std::string& sentence);
    /// Since start-up began on the port as it is.
    Clock::duration waitedFor(const wire::StartupFacts& startup) const;
    /// Whether start-up has had its time with the port as it is.
    bool waited(const wire::StartupFacts& startup) const;
    Diagnosis diagnosis(const RunState& state) const;
    DeskView deskView();

    const Options m_options;
    const common::RunClock m_start;
    common::MainLoop& m_wake;
    common::LineWriter m_output;
    const std::unique_ptr<web::PageState> m_page;  ///< null without a page
    EventQueue m_queue;                            ///< to m_output and m_page
    std::optional<control::Exchange> m_exchange;
    std::optional<recording::Recorder> m_recorder;
    std::optional<Work> m_work;
    RunMonitor m_monitor;
    lines::FaultyLine* m_line = nullptr;  ///< of the simulated console's server
    std::unique_ptr<lines::DeskServer> m_desk;
    std::unique_ptr<RestoringConsole> m_console;
    std::unique_ptr<Handlers> m_handlers;
    PluginLibrary m_plugin;
    std::optional<Show> m_show;
    std::unique_ptr<web::WebServer> m_web;
    std::optional<control::Actions> m_actions;
    std::optional<control::Server> m_control;
    ServiceManager m_service;

    Clock::time_point m_consoleStarted{};
    unsigned m_losses = 0;
    unsigned m_starts = 0;
    bool m_switchedOff = false;
    bool m_signalled = false;  ///< to end
    bool m_recordingEnded = false;
    std::optional<Diagnosis> m_diagnosis;  ///< the last one
    Clock::time_point m_nextDiagnosis{};
    std::string m_advice;  ///< the last that was said
    DeskView m_deskView{'O', 'O', 'O', 'O', false};
};

}  // namespace cvhost::run
