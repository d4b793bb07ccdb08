// cvhost: loads the console driver and runs a console with it.

#include <fcntl.h>
#include <unistd.h>

#include <exception>
#include <iostream>
#include <variant>

#include "apps/common/ExitStatus.h"
#include "apps/common/Output.h"
#include "apps/common/StartTime.h"
#include "apps/common/Wake.h"
#include "apps/cvhost/Options.h"
#include "apps/cvhost/checkhost/CheckHost.h"
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

int run(int argc, char** argv, cvhost::StartTime start) {
    const auto parsed = cvhost::parseCommandLine(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    if (const auto* ports = std::get_if<cvhost::PortsOptions>(&parsed)) return cvhost::showPorts(*ports);
    if (const auto* timeline = std::get_if<cvhost::TimelineOptions>(&parsed)) return cvhost::showTimeline(*timeline);
    cvhost::Wake wake;
    if (const auto* check = std::get_if<cvhost::CheckHostOptions>(&parsed)) return cvhost::checkHost(*check, wake);
    if (const auto* doctor = std::get_if<cvhost::DoctorOptions>(&parsed)) return cvhost::Doctor(*doctor, wake).run();
    return cvhost::Session(std::get<cvhost::Options>(parsed), start, wake).run();
}

constexpr const char* shortage = "; see whether the system is short of memory, threads or ports.\n";

}  // namespace

int main(int argc, char** argv) {
    const cvhost::StartTime start;
    if (!occupyStandardFiles()) return cvhost::exitStatus::none;
    cvhost::letWritesFail();
    try {
        const int status = run(argc, argv, start);
        const auto failure = cvhost::takeFailure();
        if (!failure) return status;
        std::cerr << "cvhost: a thread has failed: " << *failure << shortage;
        return cvhost::exitStatus::none;
    } catch (const cvhost::WebFailure& error) {
        std::cerr << "cvhost: " << error.what() << ".\n";
        return cvhost::exitStatus::none;
    } catch (const std::exception& error) {
        std::cerr << "cvhost: " << error.what() << shortage;
        return cvhost::exitStatus::none;
    }
}
