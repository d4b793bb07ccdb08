// The server's end of a connection: the settings a client may ask for, each request answered.
//
// It stands in front of a line whose rate is fixed, so every sensible setting is granted and none has an effect, except
// RTS, which the attached device feels. A client need not have agreed to anything first.
//
// Pure: no I/O. Threads: one at a time.
#pragma once

#include "rfc2217/Codec.h"

namespace rfc2217 {

/// What is attached to the port: hears data and RTS in the order in which the client sent them.
class Attached {
public:
    /// Valid during the call.
    virtual void data(std::span<const unsigned char> bytes) = 0;
    virtual void rts(bool high) = 0;
    /// What the client has asked for, one of the four values at a time.
    virtual void settings(std::uint32_t baud, unsigned dataSize, Parity parity, StopSize stopSize) {
        static_cast<void>(baud), static_cast<void>(dataSize), static_cast<void>(parity), static_cast<void>(stopSize);
    }

protected:
    ~Attached() = default;
};

class ServerPort final : private Listener {
public:
    /// Begins a connection: appends the offers and the state of the modem lines to `out`. RTS is taken to be high.
    ServerPort(Attached& attached, Bytes& out);

    /// Takes the next bytes from the client; appends the answers to `out`.
    void receive(std::span<const unsigned char> bytes, Bytes& out);
    /// Appends what the attached device sends.
    static void appendData(std::span<const unsigned char> bytes, Bytes& out) { Codec::appendData(bytes, out); }

    /// Whether the client has asked that no data be sent for now.
    bool suspended() const { return m_suspended; }

private:
    void data(std::span<const unsigned char> bytes) override { m_attached.data(bytes); }
    void command(Command command, std::span<const unsigned char> value, Bytes& out) override;
    void control(unsigned char asked, Bytes& out);
    void tellSettings();

    Codec m_codec{Role::server};
    Attached& m_attached;
    bool m_suspended = false;
    std::uint32_t m_baud = 9600;
    unsigned char m_dataSize = 8;
    unsigned char m_parity = static_cast<unsigned char>(Parity::none);
    unsigned char m_stopSize = static_cast<unsigned char>(StopSize::one);
    unsigned char m_flow = static_cast<unsigned char>(Control::flowNone);
    unsigned char m_inboundFlow = static_cast<unsigned char>(Control::inboundFlowNone);
    unsigned char m_break = static_cast<unsigned char>(Control::breakOff);
    unsigned char m_dtr = static_cast<unsigned char>(Control::dtrOn);
    unsigned char m_rts = static_cast<unsigned char>(Control::rtsOn);
};

}  // namespace rfc2217
