// The driver, put into a state, given a packet, and held against the model of the protocol.
//
// Threads: one.
#pragma once

#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "host/core/KeyQueue.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/unit/console/Framing.h"
#include "tests/unit/console/ProtocolModel.h"
#include "tests/unit/console/TrialHost.h"

namespace exhaustive {

/// The driver in one surrounding, put into a state before each packet.
class DecoderTrial {
public:
    explicit DecoderTrial(const model::Surroundings& around) : m_around(around) {
        bare::setDecoder(nullptr);
        Cv::s_consoleDebug = around.tracing;
        Cv::s_autoJogTurnOn = around.automaticJog;
        Cv::s_autoJogTriggerLevel = around.triggerLevel;
        bare::host().reset();
        bare::host().noteLog = true;
        ConsoleTestAccess::port(m_console) = support::newPort();
    }
    DecoderTrial(const DecoderTrial&) = delete;
    DecoderTrial& operator=(const DecoderTrial&) = delete;
    ~DecoderTrial() {
        bare::setHandlers(false);
        bare::host().reset();
        bare::host().noteLog = false;
        cvhost::keyQueue().clear();
        Cv::s_consoleDebug = false;
        ConsoleTestAccess::resetReceiveState();
    }

    Result result;

    /// Puts the driver into `state`, to which it returns after each packet.
    void begin(const model::State& state) {
        m_before = state;
        m_before.lastButton = lastButtonBefore;
        setHandlers();
        emptyHost();
        restore();
        std::memcpy(m_bytes, static_cast<const void*>(&m_console), sizeof m_bytes);
    }

    /// False at the first difference, which `result` then describes.
    bool holds(std::string_view packet);

    /// All packets that begin with `packet`'s first two characters and have three.
    bool row(std::array<char, 3> packet);

private:
    static constexpr int lastButtonBefore = 99;

    model::Protocol ready() const {
        model::Protocol expected(m_around);
        expected.state = m_before;
        return expected;
    }

    void decode(std::string_view packet) {
        std::memcpy(m_text, packet.data(), packet.size());
        m_text[packet.size()] = '\0';
        m_console.corvane_console_parse_packet(m_text, static_cast<int>(packet.size()));
    }

    void emptyHost() {
        cvhost::keyQueue().clear();
        if (m_around.keyWaits) addToKeyPressQueue(1, 0, 0);
        bare::host().events.clear();
    }

    void setHandlers();

    void restore();

    model::State state();

    static std::vector<model::Effect> effects() {
        std::vector<model::Effect> all;
        for (const bare::Event& event : bare::host().events) all.push_back(effectOf(event));
        return all;
    }

    static model::Effect effectOf(const bare::Event& event);

    void call();

    void describe(std::string_view packet, const model::Protocol& expected);

    model::Surroundings m_around;
    model::State m_before;
    Cv::Console m_console;
    char m_bytes[sizeof(Cv::Console)];
    char m_text[32];  // what was logged points into it
    bool m_calling = false;
};

}  // namespace exhaustive
