// Recordings from the field and from the simulated console, played to the driver on virtual time: it must send what it sent
// then, and queue the same keys.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>

#include "apps/recording/Steps.h"
#include "desk/Replay.h"
#include "tests/support/Rig.h"

namespace {

using namespace support;
using recording::Event;
using recording::Recording;

/// Its marks are the player's to take: until then time goes on without it.
class MarkedReplay final : public desk::Replay {
public:
    using Replay::Replay;
    bool takeHangUp(Time) override { return false; }
    std::optional<Time> nextEvent() const override { return markDue(Time::zero()) ? std::nullopt : Replay::nextEvent(); }
    bool unpaced() const override { return false; }
};

using Arguments = std::vector<int>;

/// The host's calls by name; a list of arguments that is too short counts as one of zeros.
void call(iConsoleResource& console, const std::string& name, Arguments arguments) {
    arguments.resize(2);
    static const std::map<std::string, std::function<void(iConsoleResource&, const Arguments&)>> calls{
        {"init", [](auto& c, auto&) { c.init(); }},
        {"exit", [](auto& c, auto&) { c.exit(); }},
        {"enable", [](auto& c, auto&) { c.enable(); }},
        {"disable", [](auto& c, auto&) { c.disable(); }},
        {"force_stop", [](auto& c, auto&) { c.force_stop(); }},
        {"enable_wheel", [](auto& c, auto&) { c.enable_wheel(); }},
        {"disable_wheel", [](auto& c, auto&) { c.disable_wheel(); }},
        {"suspend_wheel", [](auto& c, auto&) { c.suspend_wheel(); }},
        {"enable_suspended_wheel", [](auto& c, auto&) { c.enable_suspended_wheel(); }},
        {"lamp_set", [](auto& c, auto& values) { c.lamp_set(values[0], values[1]); }},
        {"force_mode", [](auto& c, auto& values) { c.force_mode(values[0]); }},
        {"set_ispeed", [](auto& c, auto& values) { c.set_ispeed(values[0]); }},
        {"show_ispeed", [](auto& c, auto& values) { c.show_ispeed(values[0]); }},
    };
    const auto found = calls.find(name);
    ASSERT_NE(found, calls.end()) << "the host calls " << name;
    found->second(console, arguments);
}

/// Plays one recording: the console's side through the line, the host's calls, and the port's comings and goings.
class Player {
public:
    explicit Player(const std::string& text)
        : m_recording(recording::read(text)),
          m_replay(m_rig.port.attach(
              std::make_unique<MarkedReplay>(recording::stepsOf(recording::Reader(text), isMark), m_rig.now()))) {
        preparePort(0);
    }

    void play() {
        // A recording without the host's calls: the console is brought up, and that is all.
        if (std::ranges::none_of(m_recording.events, [](const Event& event) { return event.kind == Event::Kind::call; }))
            m_rig.init();
        const Time limit = m_recording.events.back().at + 60s;
        const auto halted = [this] { return m_replay.done() || m_replay.markDue(m_rig.now()); };
        while (m_rig.run_until(halted, limit) && !m_replay.done()) {
            if (const auto mark = m_replay.takeMark(m_rig.now())) perform(*mark);
        }
        m_rig.run_for(1ms);  // what the last byte brings about
    }

    const Recording& recording() const { return m_recording; }
    const desk::Replay& replay() const { return m_replay; }
    Codes keys() const {
        Codes codes;
        for (const auto& press : m_rig.keys()) codes.push_back(press.code);
        return codes;
    }

private:
    static bool isMark(const Event& event) {
        return event.kind == Event::Kind::call || event.kind == Event::Kind::lost || event.kind == Event::Kind::added;
    }

    void perform(std::size_t index) {
        const Event& event = m_recording.events[index];
        if (event.kind == Event::Kind::call) return call(m_rig.console(), event.text, event.arguments);
        if (event.kind == Event::Kind::added) return m_rig.receives_at_once(event.text);
        m_rig.port.vanish();
        preparePort(index + 1);
    }

    /// The port is there again, if it ever was, after as many openings that failed.
    void preparePort(std::size_t from) {
        unsigned failures = 0;
        for (std::size_t i = from; i < m_recording.events.size(); ++i) {
            const Event& event = m_recording.events[i];
            if (event.kind == Event::Kind::trouble && event.text.starts_with("cannot be opened")) ++failures;
            if (event.kind != Event::Kind::open) continue;
            m_rig.port.failingOpens = failures;
            m_rig.port.appear();
            return;
        }
        m_rig.port.vanish();
    }

    const Recording m_recording;
    Rig m_rig{Rig::Scripted{}};
    desk::Replay& m_replay;
};

std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const auto& file : std::filesystem::directory_iterator(RECORDINGS)) {
        if (file.path().extension() == ".jsonl") found.push_back(file.path().stem());
    }
    std::ranges::sort(found);
    return found;
}

class Recordings : public testing::TestWithParam<std::string> {};

TEST_P(Recordings, Played_DriverSendsAndQueuesTheSame) {
    Player player(recording::textOf(RECORDINGS "/" + GetParam() + ".jsonl"));
    ASSERT_FALSE(player.recording().events.empty());
    player.play();

    std::string differences;
    for (const std::string& difference : player.replay().differences()) differences += difference + "\n";
    EXPECT_EQ(player.replay().differenceCount(), 0U) << differences;
    EXPECT_EQ(player.replay().missing(), 0U) << "bytes and RTS levels that the driver did not send this time";
    EXPECT_TRUE(player.replay().done());
    Codes keys;
    for (const Event& event : player.recording().events) {
        if (event.kind == Event::Kind::key) keys.push_back(event.number);
    }
    EXPECT_EQ(player.keys(), keys);
}

std::string nameOf(const testing::TestParamInfo<std::string>& file) {
    std::string name = file.param;
    std::ranges::replace_if(name, [](unsigned char letter) { return std::isalnum(letter) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Files, Recordings, testing::ValuesIn(names()), nameOf);

TEST(RecordingFolder, AllFiles_AreFound) { EXPECT_EQ(names().size(), std::size_t{RECORDING_COUNT}); }

/// That a recording is not merely played but held against what the driver does.
TEST(RecordingChanged, Played_IsFoundToDiffer) {
    std::string text = recording::textOf(RECORDINGS "/" + names().front() + ".jsonl");
    const std::string sent = R"("event":"tx","bytes":")";
    const std::size_t found = text.find(sent);
    ASSERT_NE(found, text.npos);
    text.at(found + sent.size()) = '#';
    Player player(text);
    player.play();
    EXPECT_EQ(player.replay().differenceCount(), 1U);
}

}  // namespace
