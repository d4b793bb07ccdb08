#include "host/sim/ScriptedPeer.h"

#include <algorithm>

namespace sim {

void ScriptedPeer::send(std::string_view bytes, Time now, Time delay) {
    Time begin = std::max(now + delay, m_outputFree);
    for (const char byte : bytes) {
        begin += lineTime();
        m_output.push_back({begin, static_cast<unsigned char>(byte)});
    }
    m_outputFree = begin;
}

void ScriptedPeer::answer(std::string text, std::string reply, Time delay) {
    m_answers.push_back({std::move(text), std::move(reply), delay});
}

void ScriptedPeer::answerReset(std::string reply, Time delay) { m_resetAnswer = Answer{{}, std::move(reply), delay}; }

void ScriptedPeer::receive(unsigned char byte, Time now) {
    m_received += static_cast<char>(byte);
    m_inputFree = std::max(m_inputFree, now) + lineTime();
    const std::string_view unanswered = std::string_view(m_received).substr(m_answered);
    for (const Answer& answer : m_answers) {
        if (!unanswered.ends_with(answer.text)) continue;
        m_answered = m_received.size();
        send(answer.reply, m_inputFree, answer.delay);
        return;
    }
}

void ScriptedPeer::setRts(bool high, Time now) {
    if (m_rts && !high) ++m_resets;
    if (!m_rts && high && m_resetAnswer) send(m_resetAnswer->reply, now, m_resetAnswer->delay);
    m_rts = high;
}

std::optional<desk::TimedByte> ScriptedPeer::takeOutput(Time now) {
    if (m_output.empty() || m_output.front().at > now) return std::nullopt;
    const desk::TimedByte byte = m_output.front();
    m_output.pop_front();
    return byte;
}

std::optional<Time> ScriptedPeer::nextEvent() const {
    if (m_output.empty()) return std::nullopt;
    return m_output.front().at;
}

}  // namespace sim
