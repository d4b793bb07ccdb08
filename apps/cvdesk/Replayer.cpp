#include "apps/cvdesk/Replayer.h"

#include <chrono>
#include <utility>

#include "apps/cvdesk/ExitStatus.h"

namespace cvdesk {
namespace {

constexpr std::chrono::milliseconds look(20);

}  // namespace

int replay(desk::Replay::Steps steps, std::unique_ptr<lines::Line> line, common::MainLoop& wake,
           const std::function<void(const std::string&)>& tell, lines::MachineServer::Failed failed) {
    auto machine = std::make_unique<desk::Replay>(std::move(steps), lines::present());
    const desk::Replay& played = *machine;
    lines::MachineServer server(std::move(machine), std::move(line), std::move(failed));
    std::vector<std::string> differences;
    std::size_t count = 0;
    std::size_t missing = 0;
    for (bool done = false; !done;) {
        done = wake.wait(look) == common::MainLoop::Cause::end;
        const std::size_t told = differences.size();
        server.locked([&](desk::Time) {
            differences = played.differences();
            count = played.differenceCount();
            missing = played.missing();
            done = done || played.done();
        });
        for (std::size_t i = told; i < differences.size(); ++i) tell("differs  " + differences[i] + '\n');
    }
    wake.wait(look);  // the last bytes leave
    if (count == 0 && missing == 0) {
        tell("replay   has been played to its end, as it was recorded\n");
        return exitStatus::ended;
    }
    tell("replay   ends with " + std::to_string(count) + " differences; " + std::to_string(missing) +
         " steps of the host's have not come\n");
    return exitStatus::notMet;
}

}  // namespace cvdesk
