// What the tests of cvhost share: a folder of their own, the programs, and events read from JSON.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lines/DeskServer.h"
#include "tests/apps/Process.h"

namespace apps_test {

using Json = nlohmann::json;
using Arguments = std::vector<std::string>;

/// A folder that goes when the object goes.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return m_path; }
    /// Writes a file and returns its path.
    std::string write(const std::string& name, const std::string& text) const;

private:
    std::filesystem::path m_path;
};

using DeskState = std::function<bool(const desk::Desk&)>;
/// Waits, as long as a generous limit, until the desk is as it should be.
bool becomes(lines::DeskServer& server, const DeskState& wanted);

class CvhostTest : public testing::Test {
protected:
    /// A set-up of `cvhost run` with these arguments, without the user's own settings and log.
    Process::Setup cvhost(const Arguments& arguments) const;
    Process::Setup cvdesk(const Arguments& arguments) const;
    /// Waits until cvdesk tells where it is, and returns the port's name.
    static std::string whereIs(Process& desk);

    /// The first event with these members among its own.
    static Json waitFor(Process& host, const Json& members);
    /// Waits until events with the members of each element have come, in this order.
    static void waitForAll(Process& host, const std::vector<Json>& inOrder);
    /// Waits until `bytes` have gone over the wire.
    static void waitForWire(Process& host, const std::string& direction, const std::string& bytes);
    /// All events so far. Expects time never to run backwards.
    static std::vector<Json> events(Process& host);
    static std::vector<Json> events(Process& host, const Json& members);
    /// All that went over the wire in one direction.
    static std::string wire(Process& host, const std::string& direction);

    TemporaryFolder m_folder;
};

}  // namespace apps_test
