#include "lines/DeskServer.h"

#include <utility>

namespace lines {

DeskServer::DeskServer(const desk::Options& options, std::unique_ptr<Line> line, desk::Watcher watcher,
                       MachineServer::Failed failed)
    : DeskServer(std::make_unique<desk::Desk>(options, present()), std::move(line), std::move(watcher), std::move(failed)) {}

DeskServer::DeskServer(std::unique_ptr<desk::Desk> desk, std::unique_ptr<Line> line, desk::Watcher watcher,
                       MachineServer::Failed failed)
    : m_desk(*desk), m_server((desk->watch(std::move(watcher)), std::move(desk)), std::move(line), std::move(failed)) {}

void DeskServer::operate(const std::function<void(desk::Desk&, desk::Time)>& action) {
    m_server.locked([&](desk::Time now) { action(m_desk, now); });
}

}  // namespace lines
