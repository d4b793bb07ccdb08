// Ardour with a session of one track, worked by a console through the map of the package.
//
// Ardour runs under the X server of `./dev test-apps`. It is asked about its transport by OSC, from a port of the test's
// own.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "apps/cvhost/map/Map.h"
#include "tests/apps/WorkedDeskRig.h"
#include "tests/support/OscProgram.h"

namespace applications_test {

using apps_test::Process;

class ArdourTest : public apps_test::WorkedDeskTest {
protected:
    static constexpr int rate = 48'000;  ///< samples a second

    ArdourTest();

    /// Waits until Ardour answers, and has the console work it, the wheel on.
    void SetUp() override;
    /// After a failure, prints what cvhost has reported last.
    void TearDown() override;

    void send(const cvhost::map::OscMessage& message);
    double frame() { return ask("/transport_frame"); }
    double speed() { return ask("/transport_speed"); }
    testing::AssertionResult framesBecome(const std::function<bool(double)>& wanted);
    bool isAt(int wanted);
    testing::AssertionResult frameBecomes(int wanted);
    testing::AssertionResult speedBecomes(const std::function<bool(double)>& wanted);
    /// Waits until the playhead rests. What Ardour 7.3 is asked in the moments before can be lost for good.
    testing::AssertionResult stands();
    /// Taps a key until what it does shows: Ardour leaves out what comes while it is still about something else.
    testing::AssertionResult tapUntil(char key, const std::function<bool()>& shows, int taps = 100);
    /// Puts the playhead at `from` and taps a key, again until it has gone to `to`.
    testing::AssertionResult jumps(char key, int from, int to);
    /// Puts the playhead there by another surface than the console.
    void locate(int frame);
    /// Waits until the lamp of this key of the desk is as wanted.
    bool lampBecomes(char key, char state);
    /// Has Ardour save its session, and reads it.
    std::string saved();

private:
    /// Asks until Ardour answers with a number.
    double ask(const std::string& address);
    std::optional<double> answerTo(const std::string& address);

    const std::filesystem::path m_session;
    OscProgram m_surface;  ///< at an address of its own: Ardour answers all surfaces of one address at the same port
    Process m_ardour;
    std::optional<Process> m_host;
};

}  // namespace applications_test
