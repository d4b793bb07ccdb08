#include "apps/cvdesk/Player.h"

#include <algorithm>
#include <iostream>
#include <optional>

#include "apps/cvdesk/ExitStatus.h"

namespace cvdesk {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// How long a script waits for what it expects.
constexpr std::chrono::seconds patience(2);
/// How long "quit" waits for the line to fall idle.
constexpr std::chrono::seconds lastWords(1);

/// What ends the script before its own end: the status to exit with.
using Verdict = std::optional<int>;

class Player {
public:
    Player(lines::DeskServer& server, common::MainLoop& wake) : m_server(server), m_wake(wake) {}

    Verdict play(const Step& step) {
        m_line = step.line;
        return std::visit([this](const auto& what) { return play(what); }, step.action);
    }
    /// Serves until a signal ends the program.
    void serve() {
        while (m_wake.wait(std::chrono::hours(1)) != common::MainLoop::Cause::end) {
        }
    }

private:
    enum class Outcome { holds, late, end };

    /// Waits until `condition()` holds, at most until `deadline`. Looks again after each event of the desk and after each
    /// `interval`.
    template <class Condition>
    Outcome await(Condition condition, Clock::time_point deadline, milliseconds interval = std::chrono::hours(1)) {
        for (;;) {
            if (condition()) return Outcome::holds;
            const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
            if (left <= milliseconds::zero()) return Outcome::late;
            if (m_wake.wait(std::min(left, interval)) == common::MainLoop::Cause::end) return Outcome::end;
        }
    }

    /// What `look` returns for the desk.
    template <class Look>
    auto seen(Look look) {
        decltype(look(std::declval<const desk::Desk&>())) result{};
        m_server.operate([&](const desk::Desk& desk, desk::Time) { result = look(desk); });
        return result;
    }

    static Verdict unlessEnded(Outcome outcome) {
        return outcome == Outcome::end ? Verdict(exitStatus::ended) : std::nullopt;
    }

    Verdict play(const Sleep& sleep) {
        return unlessEnded(await([] { return false; }, Clock::now() + sleep.time));
    }

    Verdict play(const Act& act) {
        m_server.operate(act.act);
        return std::nullopt;
    }

    Verdict play(const WaitActive&) {
        const auto active = [this] { return seen([](const desk::Desk& desk) { return desk.active(); }); };
        return unlessEnded(await(active, Clock::now() + std::chrono::years(1)));
    }

    Verdict play(const Expect& expect) {
        std::string found;
        const auto met = [&] { return (found = seen(expect.found)) == expect.wanted; };
        const Outcome outcome = await(met, Clock::now() + patience);
        if (outcome != Outcome::late) return unlessEnded(outcome);
        std::cerr << "cvdesk: line " << m_line << ": expected " << expect.wanted << ", found " << found << " after "
                  << patience.count() << " s; see what the host did before.\n";
        return exitStatus::notMet;
    }

    Verdict play(const Quit&) {
        const auto idle = [this] { return seen([](const desk::Desk& desk) { return !desk.nextEvent(); }); };
        await(idle, Clock::now() + lastWords, milliseconds(5));
        return exitStatus::ended;
    }

    lines::DeskServer& m_server;
    common::MainLoop& m_wake;
    int m_line = 0;
};

}  // namespace

int play(const std::vector<Step>& steps, lines::DeskServer& server, common::MainLoop& wake) {
    Player player(server, wake);
    for (const Step& step : steps)
        if (const Verdict verdict = player.play(step)) return *verdict;
    player.serve();
    return exitStatus::ended;
}

}  // namespace cvdesk
