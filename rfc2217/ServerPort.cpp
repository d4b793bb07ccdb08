#include "rfc2217/ServerPort.h"

#include <string_view>

namespace rfc2217 {
namespace {

constexpr std::string_view signatureText = "Corvane console";
constexpr unsigned char linesUp = ModemState::carrierDetect | ModemState::dataSetReady | ModemState::clearToSend;

constexpr unsigned char code(auto value) { return static_cast<unsigned char>(value); }

/// Takes what was asked for if it lies in the range; 0 and anything else only ask for the present value.
unsigned char settle(unsigned char asked, unsigned char lowest, unsigned char highest, unsigned char& setting) {
    if (asked >= lowest && asked <= highest) setting = asked;
    return setting;
}

}  // namespace

ServerPort::ServerPort(Attached& attached, Bytes& out) : m_attached(attached) {
    m_codec.start(out);
    m_codec.appendCommand(Command::notifyModemState, linesUp, out);
}

void ServerPort::receive(std::span<const unsigned char> bytes, Bytes& out) { m_codec.receive(bytes, *this, out); }

void ServerPort::command(Command command, std::span<const unsigned char> value, Bytes& out) {
    switch (command) {
        case Command::signature:
            if (value.empty()) {
                const Bytes text(signatureText.begin(), signatureText.end());
                m_codec.appendCommand(command, text, out);
            }
            break;
        case Command::setBaudRate:
            if (const auto baud = Codec::baudRate(value.first<4>())) m_baud = baud;
            m_codec.appendBaudRate(m_baud, out);
            tellSettings();
            break;
        case Command::setDataSize:
            m_codec.appendCommand(command, settle(value[0], 5, 8, m_dataSize), out);
            tellSettings();
            break;
        case Command::setParity:
            m_codec.appendCommand(command, settle(value[0], code(Parity::none), code(Parity::space), m_parity), out);
            tellSettings();
            break;
        case Command::setStopSize:
            m_codec.appendCommand(command, settle(value[0], code(StopSize::one), code(StopSize::oneAndHalf), m_stopSize),
                                  out);
            tellSettings();
            break;
        case Command::setControl:
            control(value[0], out);
            break;
        case Command::setLineStateMask:
        case Command::setModemStateMask:
        case Command::purgeData:  // nothing is kept here that could be purged
            m_codec.appendCommand(command, value, out);
            break;
        case Command::flowControlSuspend:
        case Command::flowControlResume:  // an answer would be a request of ours
            m_suspended = command == Command::flowControlSuspend;
            break;
        case Command::notifyLineState:
        case Command::notifyModemState:
            break;
    }
}

void ServerPort::tellSettings() { m_attached.settings(m_baud, m_dataSize, Parity{m_parity}, StopSize{m_stopSize}); }

void ServerPort::control(unsigned char asked, Bytes& out) {
    struct Group {
        Control ask, lowest, highest;
        unsigned char ServerPort::* setting;
    };
    static constexpr Group groups[] = {
        {Control::askFlow, Control::flowNone, Control::flowHardware, &ServerPort::m_flow},
        {Control::askBreak, Control::breakOn, Control::breakOff, &ServerPort::m_break},
        {Control::askDtr, Control::dtrOn, Control::dtrOff, &ServerPort::m_dtr},
        {Control::askRts, Control::rtsOn, Control::rtsOff, &ServerPort::m_rts},
        {Control::askInboundFlow, Control::inboundFlowNone, Control::inboundFlowHardware, &ServerPort::m_inboundFlow},
    };
    for (const Group& group : groups) {
        if (asked < code(group.ask) || asked > code(group.highest)) continue;
        const unsigned char setting = settle(asked, code(group.lowest), code(group.highest), this->*group.setting);
        if (group.ask == Control::askRts && asked != code(Control::askRts)) m_attached.rts(asked == code(Control::rtsOn));
        m_codec.appendCommand(Command::setControl, setting, out);
        return;
    }
    // The flow controls beyond the table exist on no line of ours: answered with what holds.
    m_codec.appendCommand(Command::setControl, asked == code(Control::inboundFlowDtr) ? m_inboundFlow : m_flow, out);
}

}  // namespace rfc2217
