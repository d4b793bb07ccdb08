#include "bench/CvhostRun.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "bench/Driver.h"

namespace bench {
namespace {

std::string mapFile(const std::string& text) {
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "bench_map.toml";
    std::ofstream(path) << text;
    return path;
}

}  // namespace

CvhostRun::CvhostRun(ConsoleStub& end, const std::string& map)
    : m_process(
          {.command = {ownFolder() + "cvhost", "run", "--port", end.name(), "--map", mapFile(map), "--control", "off"},
           .environment = {{"XDG_CONFIG_HOME", "/nowhere"}, {"XDG_STATE_HOME", std::filesystem::temp_directory_path()}}}) {
    if (!end.waitForText("K W F2 X ")) throw std::runtime_error("cvhost does not find the console: " + m_process.errors());
}

}  // namespace bench
