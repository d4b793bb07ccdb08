// cvdesk is a console: a simulated desk behind a network serial port or a pseudo-terminal.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "apps/cvdesk/ExitStatus.h"
#include "apps/cvdesk/Options.h"
#include "apps/cvdesk/Player.h"
#include "apps/cvdesk/Script.h"
#include "apps/cvdesk/Telling.h"
#include "apps/cvhost/Output.h"
#include "apps/cvhost/StartTime.h"
#include "apps/cvhost/Wake.h"
#include "lines/DeskServer.h"
#include "lines/Pty.h"
#include "lines/Rfc2217Server.h"

namespace cvdesk {
namespace {

std::vector<Step> loadScript(const std::string& file) {
    if (file.empty()) return {};
    std::ifstream text(file);
    if (!text) throw ScriptError("it cannot be read; check its name and that it may be read");
    auto steps = readScript(text);
    if (text.bad()) throw ScriptError("it cannot be read to its end");
    return steps;
}

/// Makes the line, and the sentence that tells where it is.
std::unique_ptr<lines::Line> makeLine(const Options& options, std::string& where) {
    if (const auto* network = std::get_if<NetworkAddress>(&options.line)) {
        auto line = std::make_unique<lines::Rfc2217Server>(network->address, network->port);
        where = "Listening on " + line->name();
        return line;
    }
    auto line = std::make_unique<lines::Pty>(std::get<std::string>(options.line));
    where = "Listening on " + line->name() + ", which leads to " + line->device();
    return line;
}

bool wantsColour() {
    const char* noColour = std::getenv("NO_COLOR");
    return (noColour == nullptr || *noColour == '\0') && ::isatty(STDOUT_FILENO) == 1;
}

int serve(const Options& options, const std::vector<Step>& steps) {
    std::signal(SIGPIPE, SIG_IGN);
    cvhost::Wake wake;
    std::string where;
    std::unique_ptr<lines::Line> line = makeLine(options, where);
    const cvhost::StartTime start;
    const bool colour = wantsColour();
    cvhost::Output output(STDOUT_FILENO, {.missing =
                                              [](std::size_t count) {
                                                  return std::to_string(count) +
                                                         " lines are missing here: they were not read in time\n";
                                              },
                                          .broken = [] {}});
    output.put(where + '\n');
    lines::DeskServer server(options.desk, std::move(line), [&](const desk::Happening& happening) {
        output.put(lineFor(happening, start.seconds(), colour));
        wake.signal();
    });
    return play(steps, server, wake);
}

int run(int argc, const char* const* argv) {
    const auto parsed = parseCommandLine(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    const Options& options = std::get<Options>(parsed);
    std::vector<Step> steps;
    try {
        steps = loadScript(options.scriptFile);
    } catch (const ScriptError& error) {
        std::cerr << "cvdesk: script " << options.scriptFile << ", " << error.what() << ".\n";
        return exitStatus::usage;
    }
    try {
        return serve(options, steps);
    } catch (const std::exception& error) {
        std::cerr << "cvdesk: " << error.what() << "; choose another place for the desk.\n";
        return exitStatus::noLine;
    }
}

}  // namespace
}  // namespace cvdesk

int main(int argc, char** argv) { return cvdesk::run(argc, argv); }
