// An example played to the simulated console: it hears what the driver sends, and must send and show what is written.
#include <sstream>

#include "tests/scenario/protocol/Verbs.h"
#include "tests/unit/desk/DeskRig.h"

namespace protocol {
namespace {

using namespace desk_test;

class DeskPlayer {
public:
    DeskPlayer(const Example& example, Differences& differences) : m_differences(differences), m_rig(optionsFor(example)) {}

    Verbs verbs() {
        return {
            {"begin", [this](const std::string& state) { begin(state); }},
            {"console", [this](const std::string& bytes) { expectSent(bytes); }},
            {"driver", [this](const std::string& what) { hear(what); }},
            {"operator", [this](const std::string& what) { operate(what); }},
            {"lamp", [this](const std::string& rest) { expectLamp(rest); }},
            {"wheel",
             [this](const std::string& state) { m_rig.run(1s), m_differences.expect(state == "on", m_rig.desk.wheelOn()); }},
            {"memory", [this](const std::string& digits) { load(bytesOf(digits)); }},
            {"active", [this](const std::string&) { m_differences.expect(true, m_rig.desk.active()); }},
            // What only the driver can tell.
            {"host", nullptr},
            {"key", nullptr},
            {"nothing", nullptr},
            {"held", nullptr},
            {"released", nullptr},
            {"speed", nullptr},
            {"jog", nullptr},
            {"version", nullptr},
            {"check", nullptr},
            {"...", nullptr},
        };
    }

    /// All that was sent was in the example, and all that was heard was understood.
    void end() {
        m_sent += m_rig.run(1s);
        m_differences.expect(std::string(), m_sent);
        m_differences.expect(0U, m_rig.desk.unknownCommands());
    }

private:
    static desk::Options optionsFor(const Example& example) {
        const std::string state = example.steps.empty() ? "" : example.steps.front().rest;
        const bool known = state.starts_with("running ") && state != "running 0";
        return {.firmware = known ? state.back() - '0' : 7};
    }

    void begin(const std::string& state) {
        if (state == "monitor") m_rig.run(1s);
        if (state.starts_with("running")) m_rig.startProgram();
        if (state.starts_with("running") && state != "running 0") m_rig.ask("? ");
    }

    void hear(const std::string& what) {
        if (what == "rts low") return m_rig.reset();
        if (what != "rts high") m_rig.say(what);
    }

    void expectSent(const std::string& bytes) {
        for (int tries = 0; tries < 100 && m_sent.size() < bytes.size(); ++tries) m_sent += m_rig.run(10ms);
        m_differences.expect(bytes, m_sent.substr(0, bytes.size()));
        m_sent.erase(0, bytes.size());
    }

    void operate(const std::string& what) {
        std::istringstream words(what);
        std::string verb, argument;
        int fine = 0;
        words >> verb >> argument >> fine;
        if (verb == "press") return static_cast<void>(m_rig.desk.press(argument.front(), m_rig.now));
        if (verb == "release") return m_rig.desk.release(argument.front(), m_rig.now);
        if (verb == "shuttle") return m_rig.desk.shuttle(static_cast<unsigned char>(std::stoi(argument)), m_rig.now);
        if (verb == "forward") return m_rig.desk.forward(argument, m_rig.now);
        if (verb == "jog") {
            return m_rig.desk.jog(static_cast<std::int8_t>(std::stoi(argument)), static_cast<std::int16_t>(fine), m_rig.now);
        }
        m_differences.expect("an operation known here", what);
    }

    void expectLamp(const std::string& rest) {
        m_sent += m_rig.run(1s);
        m_differences.expect(rest.back(), m_rig.desk.lamp(std::stoi(rest)));
    }

    void load(const std::string& bytes) {
        const std::vector<unsigned char> image(bytes.begin(), bytes.end());
        m_differences.expect(true, m_rig.desk.load(image));
    }

    Differences& m_differences;
    DeskRig m_rig;
    std::string m_sent;
};

}  // namespace

std::vector<std::string> playToDesk(const Example& example) {
    Differences differences;
    DeskPlayer player(example, differences);
    play(example, player.verbs(), differences);
    player.end();
    return differences.found();
}

}  // namespace protocol
