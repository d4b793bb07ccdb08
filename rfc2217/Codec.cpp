#include "rfc2217/Codec.h"

#include <algorithm>

namespace rfc2217 {
namespace {

constexpr unsigned char SE = 240, SB = 250, WILL = 251, WONT = 252, DO = 253, DONT = 254, IAC = 255;
constexpr unsigned char BINARY = 0, SGA = 3, COM_PORT = 44;
constexpr std::array<unsigned char, 3> optionCodes{BINARY, SGA, COM_PORT};
constexpr unsigned char answerOffset = 100;  // what a server adds to a command's code

void append(Bytes& out, std::initializer_list<unsigned char> bytes) { out.insert(out.end(), bytes); }

bool lengthFits(Command command, std::size_t length) {
    switch (command) {
        case Command::signature:
            return true;
        case Command::setBaudRate:
            return length == 4;
        case Command::flowControlSuspend:
        case Command::flowControlResume:
            return length == 0;
        default:
            return length == 1;
    }
}

}  // namespace

void Codec::start(Bytes& out) {
    for (std::size_t i = 0; i < optionCodes.size(); ++i) {
        const bool port = i == portOption;
        if (!port || m_role == Role::client) {
            m_options[i].local.asked = true;
            append(out, {IAC, WILL, optionCodes[i]});
        }
        if (!port || m_role == Role::server) {
            m_options[i].remote.asked = true;
            append(out, {IAC, DO, optionCodes[i]});
        }
    }
}

void Codec::receive(std::span<const unsigned char> bytes, Listener& listener, Bytes& out) {
    while (!bytes.empty()) {
        const unsigned char byte = bytes.front();
        if (m_state == State::data && byte != IAC) {
            const auto end = std::find(bytes.begin(), bytes.end(), IAC);
            const auto run = bytes.first(static_cast<std::size_t>(end - bytes.begin()));
            listener.data(run);
            bytes = bytes.subspan(run.size());
            continue;
        }
        bytes = bytes.subspan(1);
        switch (m_state) {
            case State::data:
                m_state = State::command;
                break;
            case State::command:
                if (byte == IAC) listener.data({&byte, 1});
                takeCommandByte(byte);
                break;
            case State::option:
                m_state = State::data;
                negotiate(m_verb, byte, out);
                break;
            case State::sub:
                if (byte == IAC)
                    m_state = State::subCommand;
                else
                    takeSubByte(byte);
                break;
            case State::subCommand:
                if (byte == IAC) {
                    m_state = State::sub;
                    takeSubByte(byte);
                } else {
                    if (byte == SE) finishSub(listener, out);
                    takeCommandByte(byte);  // any other command breaks the sub-negotiation off
                }
                break;
        }
    }
}

void Codec::takeCommandByte(unsigned char byte) {
    if (byte >= WILL && byte <= DONT) {
        m_verb = byte;
        m_state = State::option;
    } else if (byte == SB) {
        m_subLength = 0;
        m_state = State::sub;
    } else {
        m_state = State::data;
    }
}

void Codec::takeSubByte(unsigned char byte) {
    if (m_subLength < subLimit)
        m_sub[m_subLength++] = byte;
    else
        m_subLength = subLimit + 1;
}

void Codec::finishSub(Listener& listener, Bytes& out) {
    if (m_subLength < 2 || m_subLength > subLimit || m_sub[0] != COM_PORT) return;
    const int code = m_sub[1] - (m_role == Role::client ? answerOffset : 0);
    if (code < 0 || code > static_cast<int>(Command::purgeData)) return;
    const auto command = static_cast<Command>(code);
    const auto value = std::span<const unsigned char>(m_sub).first(m_subLength).subspan(2);
    if (lengthFits(command, value.size())) listener.command(command, value, out);
}

// Each side answers only a change of state, and what we asked for ourselves is an answer already: no loop can begin here.
void Codec::negotiate(unsigned char verb, unsigned char code, Bytes& out) {
    const bool aboutUs = verb == DO || verb == DONT;
    const bool wanted = verb == DO || verb == WILL;
    const unsigned char agree = aboutUs ? WILL : DO;
    const unsigned char refuse = aboutUs ? WONT : DONT;
    const auto place = std::find(optionCodes.begin(), optionCodes.end(), code);
    if (place == optionCodes.end()) {
        if (wanted) append(out, {IAC, refuse, code});
        return;
    }
    Option& option = m_options[static_cast<std::size_t>(place - optionCodes.begin())];
    Side& side = aboutUs ? option.local : option.remote;
    const bool answer = side.on != wanted && !side.asked;
    side = {.on = wanted, .asked = false};
    if (answer) append(out, {IAC, wanted ? agree : refuse, code});
}

void Codec::appendData(std::span<const unsigned char> bytes, Bytes& out) {
    for (const unsigned char byte : bytes) {
        if (byte == IAC) out.push_back(IAC);
        out.push_back(byte);
    }
}

void Codec::appendCommand(Command command, std::span<const unsigned char> value, Bytes& out) const {
    const unsigned offset = m_role == Role::server ? answerOffset : 0U;
    append(out, {IAC, SB, COM_PORT, static_cast<unsigned char>(static_cast<unsigned>(command) + offset)});
    appendData(value, out);
    append(out, {IAC, SE});
}

void Codec::appendCommand(Command command, unsigned char value, Bytes& out) const {
    appendCommand(command, std::span<const unsigned char>(&value, 1), out);
}

void Codec::appendControl(Control control, Bytes& out) const {
    appendCommand(Command::setControl, static_cast<unsigned char>(control), out);
}

void Codec::appendBaudRate(std::uint32_t baud, Bytes& out) const {
    const std::array<unsigned char, 4> value{
        static_cast<unsigned char>(baud >> 24), static_cast<unsigned char>(baud >> 16 & 0xFF),
        static_cast<unsigned char>(baud >> 8 & 0xFF), static_cast<unsigned char>(baud & 0xFF)};
    appendCommand(Command::setBaudRate, value, out);
}

std::uint32_t Codec::baudRate(std::span<const unsigned char, 4> value) {
    return std::uint32_t{value[0]} << 24 | std::uint32_t{value[1]} << 16 | std::uint32_t{value[2]} << 8 | value[3];
}

}  // namespace rfc2217
