// cvhost: loads the console driver and runs a console with it.

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <variant>

#include "apps/common/ExitStatus.h"
#include "apps/common/LineWriter.h"
#include "apps/common/MainLoop.h"
#include "apps/common/RunClock.h"
#include "apps/cvhost/Options.h"
#include "apps/cvhost/checkhost/CheckHost.h"
#include "apps/cvhost/control/Ctl.h"
#include "apps/cvhost/doctor/Doctor.h"
#include "apps/cvhost/ports/Ports.h"
#include "apps/cvhost/run/Session.h"
#include "apps/cvhost/timeline/Timeline.h"
#include "apps/cvhost/web/WebServer.h"
#include "host/core/Failure.h"

namespace {

/// A standard file that the caller has closed must not become a serial port. Writing to what stands in for it fails.
bool occupyStandardFiles() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0 && ::open("/dev/null", O_RDONLY) != fd) return false;
    }
    return true;
}

int run(int argc, char** argv, common::RunClock start) {
    const auto parsed = cvhost::parseCommandLine(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    if (const auto* ports = std::get_if<cvhost::ports::PortsOptions>(&parsed)) return cvhost::ports::showPorts(*ports);
    if (const auto* ctl = std::get_if<cvhost::control::CtlOptions>(&parsed)) return cvhost::control::runCtl(*ctl);
    if (const auto* timeline = std::get_if<cvhost::timeline::TimelineOptions>(&parsed))
        return cvhost::timeline::showTimeline(*timeline);
    common::MainLoop wake;
    if (const auto* check = std::get_if<cvhost::checkhost::CheckHostOptions>(&parsed))
        return cvhost::checkhost::checkHost(*check, wake);
    if (const auto* doctor = std::get_if<cvhost::doctor::DoctorOptions>(&parsed))
        return cvhost::doctor::Doctor(*doctor, wake).run();
    return cvhost::run::Session(std::get<cvhost::run::Options>(parsed), start, wake).run();
}

constexpr const char* shortage = "; see whether the system is short of memory, threads or ports.\n";

}  // namespace

int main(int argc, char** argv) {
    const common::RunClock start;
    if (!occupyStandardFiles()) return common::exitStatus::none;
    common::letWritesFail();
    try {
        const int status = run(argc, argv, start);
        const auto failure = cvhost::takeFailure();
        if (!failure) return status;
        std::cerr << "cvhost: a thread has failed: " << *failure << shortage;
        return common::exitStatus::none;
    } catch (const cvhost::web::WebFailure& error) {
        std::cerr << "cvhost: " << error.what() << ".\n";
        return common::exitStatus::none;
    } catch (const std::exception& error) {
        std::cerr << "cvhost: " << error.what() << shortage;
        return common::exitStatus::none;
    }
}
