// An example played to the driver: it hears what the console sends, and must send and understand what is written.
#include <cstdio>
#include <sstream>

#include "tests/scenario/protocol/Verbs.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/Rig.h"

namespace protocol {
namespace {

using namespace support;

class DriverPlayer {
public:
    explicit DriverPlayer(Differences& differences) : m_differences(differences) {}

    Verbs verbs() {
        return {
            {"begin", [this](const std::string& rest) { begin(rest); }},
            {"console", [this](const std::string& bytes) { hear(bytes); }},
            {"driver", [this](const std::string& what) { expectSent(what); }},
            {"host", [this](const std::string& call) { hostCalls(call); }},
            {"key", [this](const std::string& rest) { expectKey(rest); }},
            {"nothing", [this](const std::string&) { m_differences.expect(m_keys, m_rig.keys().size()); }},
            {"held",
             [this](const std::string& code) { m_differences.expect(true, m_rig.console().key_is_down(std::stoi(code))); }},
            {"released",
             [this](const std::string& code) { m_differences.expect(false, m_rig.console().key_is_down(std::stoi(code))); }},
            {"speed",
             [this](const std::string& speed) { m_differences.expect(std::stoi(speed), m_rig.console().get_ispeed()); }},
            {"jog",
             [this](const std::string& jog) {
                 m_differences.expect(std::stod(jog), m_rig.console().get_jog_delta_exact());
             }},
            {"active",
             [this](const std::string&) {
                 m_differences.expect(true, m_rig.run_until([this] { return m_rig.console().active(); }, 2s));
             }},
            {"version",
             [this](const std::string& version) {
                 m_differences.expect(std::stoi(version), ConsoleTestAccess::version(m_rig.console()));
             }},
            {"check", [this](const std::string& digits) { expectCheck(digits); }},
            {"...", [this](const std::string&) { m_goesOn = true; }},
            // What only the desk can tell.
            {"operator", nullptr},
            {"lamp", nullptr},
            {"wheel", nullptr},
            {"memory", nullptr},
        };
    }

    /// All that was sent and queued was in the example.
    void end() {
        m_rig.run_for(1ms);
        if (!m_goesOn) m_differences.expect(std::string(), escaped(sent().substr(m_sent)));
        m_differences.expect(m_keys, m_rig.keys().size());
    }

private:
    void begin(const std::string& state) {
        m_live = state == "reset" || state == "monitor";
        if (state == "reset") {
            m_rig.init();
        } else if (state == "monitor") {
            m_rig.console().open_port();
            ConsoleTestAccess::monitorMode(m_rig.console()) = true;
        } else if (state == "running 0") {
            m_rig.console().open_port();
        } else {
            m_rig.activate(state.back());
        }
    }

    void hear(const std::string& bytes) {
        if (m_live) {
            m_rig.peer_sends(bytes);
        } else {
            m_rig.receives(bytes);
        }
    }

    /// All that has gone out: bytes, and between them the changes of RTS.
    std::string sent() const {
        std::string all;
        for (const sim::Entry& entry : m_rig.world.recording()) {
            if (entry.kind == Kind::sent) all += entry.text;
            if (entry.kind == Kind::rts) all += entry.text == "0" ? "rts low" : "rts high";
        }
        return all;
    }

    void expectSent(const std::string& what) {
        if (!m_live && what == "? ") {
            m_rig.on_thread("asks", [this] { m_rig.console().console_puts("? "); });
        }
        m_rig.run_until([&] { return sent().size() >= m_sent + what.size(); }, 2s);
        m_differences.expect(escaped(what), escaped(sent().substr(m_sent, what.size())));
        m_sent += what.size();
    }

    void hostCalls(const std::string& call) {
        std::istringstream words(call);
        std::string name, first, second;
        words >> name >> first >> second;
        Cv::Console& console = m_rig.console();
        if (name == "lamp_set") return console.lamp_set(std::stoi(first), second.front());
        if (name == "show_ispeed") return console.show_ispeed(std::stoi(first));
        if (name == "enable_wheel") return console.enable_wheel();
        if (name == "disable_wheel") return console.disable_wheel();
        if (name == "handles") return m_rig.handle(std::stoi(first));
        if (name == "check") return askCheck(std::stoul(first, nullptr, 16));
        m_differences.expect("a call known here", call);
    }

    void askCheck(unsigned long length) {
        m_rig.on_thread("asks",
                        [this, length] { m_checked = m_rig.console().GetCRC(static_cast<unsigned>(length), m_check); });
    }
    void expectCheck(const std::string& digits) {
        m_rig.run_until([this] { return m_checked; }, 2s);
        m_differences.expect(std::stoul(digits, nullptr, 16), m_check);
    }

    void expectKey(const std::string& rest) {
        const Keys keys = m_rig.keys();
        m_differences.expect(true, m_keys < keys.size());
        if (m_keys >= keys.size()) return;
        const auto& key = keys[m_keys++];
        m_differences.expect(rest, std::to_string(key.code) + (key.handled ? " handled" : ""));
    }

    static std::string escaped(const std::string& bytes) {
        std::string text;
        for (const char byte : bytes) text += byte == '\r' ? "\\r" : byte == '\n' ? "\\n" : std::string(1, byte);
        return text;
    }

    Differences& m_differences;
    Rig m_rig{Rig::Scripted{}};
    bool m_live = false;  ///< the driver's own threads are in the dialogue, at the line's pace
    bool m_goesOn = false;
    std::size_t m_sent = 0;
    std::size_t m_keys = 0;
    bool m_checked = false;
    unsigned short m_check = 0;
};

}  // namespace

std::vector<std::string> playToDriver(const Example& example) {
    Differences differences;
    DriverPlayer player(differences);
    play(example, player.verbs(), differences);
    player.end();
    return differences.found();
}

}  // namespace protocol
