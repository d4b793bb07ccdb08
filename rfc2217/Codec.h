// Telnet's COM-PORT-OPTION on the wire, for both ends: framing, option negotiation, serial-port commands.
//
// Pure: bytes in, calls to a listener out; what must be sent is appended to the caller's buffer. Of the stream nothing is
// kept but the command that is being gathered, in a buffer of fixed size. Data is transparent in both directions, whether or
// not the peer agrees to BINARY: only IAC is doubled.
//
// Threads: one codec serves one connection on one thread at a time. Encoding data and commands reads nothing that
// receive() writes, so one thread may encode while another one receives.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace rfc2217 {

using Bytes = std::vector<unsigned char>;

/// The client is the end that wants a serial port, the server the one that has it.
enum class Role { client, server };

/// What one end asks of the other. The server's answers and notifications bear the same names.
enum class Command : unsigned char {
    signature = 0,           ///< any text; empty asks for the other's
    setBaudRate = 1,         ///< 4 bytes, big-endian; 0 asks
    setDataSize = 2,         ///< 5 to 8; 0 asks
    setParity = 3,           ///< a Parity
    setStopSize = 4,         ///< a StopSize
    setControl = 5,          ///< a Control
    notifyLineState = 6,     ///< from the server: LineState bits
    notifyModemState = 7,    ///< from the server: ModemState bits
    flowControlSuspend = 8,  ///< no value: send no data until resumed
    flowControlResume = 9,   ///< no value
    setLineStateMask = 10,   ///< which LineState bits to notify
    setModemStateMask = 11,  ///< which ModemState bits to notify
    purgeData = 12,          ///< a Purge
};

enum class Parity : unsigned char { ask = 0, none = 1, odd = 2, even = 3, mark = 4, space = 5 };
enum class StopSize : unsigned char { ask = 0, one = 1, two = 2, oneAndHalf = 3 };
enum class Purge : unsigned char { received = 1, unsent = 2, both = 3 };

enum class Control : unsigned char {
    askFlow = 0,
    flowNone = 1,
    flowXonXoff = 2,
    flowHardware = 3,
    askBreak = 4,
    breakOn = 5,
    breakOff = 6,
    askDtr = 7,
    dtrOn = 8,
    dtrOff = 9,
    askRts = 10,
    rtsOn = 11,
    rtsOff = 12,
    askInboundFlow = 13,
    inboundFlowNone = 14,
    inboundFlowXonXoff = 15,
    inboundFlowHardware = 16,
    flowCarrierDetect = 17,
    inboundFlowDtr = 18,
    flowDataSetReady = 19,
};

/// Bits of notifyModemState: the state of each line, and in the low half whether it has changed.
namespace ModemState {
inline constexpr unsigned char carrierDetect = 0x80;
inline constexpr unsigned char ring = 0x40;
inline constexpr unsigned char dataSetReady = 0x20;
inline constexpr unsigned char clearToSend = 0x10;
}  // namespace ModemState

/// Hears what arrives, in the order of the stream.
class Listener {
public:
    /// Bytes for or from the serial port; valid during the call.
    virtual void data(std::span<const unsigned char> bytes) = 0;
    /// A command of the peer whose value has the length that the command's comment gives; others are dropped unheard.
    /// `value` is valid during the call. An answer, if any, is appended to `out`.
    virtual void command(Command command, std::span<const unsigned char> value, Bytes& out) = 0;

protected:
    ~Listener() = default;
};

class Codec {
public:
    explicit Codec(Role role) : m_role(role) {}

    /// Appends the offers that this end makes when a connection begins. Call once, before receive().
    void start(Bytes& out);

    /// Takes the next bytes of the stream, however it is split; appends the answers to it, the codec's own and the
    /// listener's, to `out`.
    void receive(std::span<const unsigned char> bytes, Listener& listener, Bytes& out);

    /// Appends bytes for or from the serial port.
    static void appendData(std::span<const unsigned char> bytes, Bytes& out);
    /// Appends a command, a server's as an answer. `value` is as the command's comment says.
    void appendCommand(Command command, std::span<const unsigned char> value, Bytes& out) const;
    /// A command whose value is one byte.
    void appendCommand(Command command, unsigned char value, Bytes& out) const;
    void appendControl(Control control, Bytes& out) const;
    void appendBaudRate(std::uint32_t baud, Bytes& out) const;

    /// The rate in a setBaudRate value of four bytes.
    static std::uint32_t baudRate(std::span<const unsigned char, 4> value);

    /// Whether the peer has agreed, or asked, to speak the serial-port option.
    bool portOptionAgreed() const { return m_options[portOption].local.on || m_options[portOption].remote.on; }

private:
    enum class State { data, command, option, sub, subCommand };
    struct Side {
        bool on = false;
        bool asked = false;  ///< our request has not been answered yet
    };
    struct Option {
        Side local, remote;
    };
    static constexpr std::size_t portOption = 2;  ///< place in m_options
    static constexpr std::size_t subLimit = 256;  ///< longer commands are dropped whole

    void negotiate(unsigned char verb, unsigned char code, Bytes& out);
    void finishSub(Listener& listener, Bytes& out);
    void takeCommandByte(unsigned char byte);
    void takeSubByte(unsigned char byte);

    Role m_role;
    State m_state = State::data;
    unsigned char m_verb = 0;                   ///< DO, DONT, WILL or WONT, while the option's code is awaited
    std::array<Option, 3> m_options{};          ///< BINARY, SGA, COM-PORT-OPTION
    std::array<unsigned char, subLimit> m_sub;  ///< the first m_subLength bytes are set
    std::size_t m_subLength = 0;                ///< may exceed subLimit by one: too long
};

}  // namespace rfc2217
