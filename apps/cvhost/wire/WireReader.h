// Reads along on the line: cuts what passes into messages, says what each means, and keeps what the console must look like.
//
// While the console is in reset or in its boot monitor, a message is a line of text; from the start of its program on, it
// is what stands before a space. What the driver ignores in its present state is called so, and changes nothing.
//
// Threads: one at a time.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "apps/common/ConsoleFacts.h"
#include "apps/cvhost/wire/PacketReader.h"
#include "host/core/Events.h"

namespace cvhost::wire {

/// The console as it must look from what has passed on its line.
struct ConsoleLook {
    std::array<char, common::lampCount> lamp{};  ///< lamp 1 first: 'O', 'F', 'H' or 'B'; '?' until the first command for it
    std::array<bool, common::keyCount> held{};   ///< by key code
    bool wheel = false;
    bool ringTold = false;  ///< the console has told where its ring is
    int ring = 127;         ///< position of the shuttle ring, 0..255
    double turned = 0;      ///< the jog wheel, in counts: the sum of what it has told
};

struct WireMessage {
    Direction direction;
    std::string bytes;             ///< printable
    std::string meaning;           ///< in words; empty for none
    std::optional<int> ring{};     ///< where it stands, in a message that tells it
    std::optional<int> lampOff{};  ///< the lamp that it switches off
};

class WireReader {
public:
    using Take = std::function<void(const WireMessage&)>;

    WireReader() {
        forget();
        m_driverReads = true;
    }

    /// Reads `bytes` and gives each message that ends in them to `take`, if there is one. Without one, the console's program
    /// and the commands to it are read without asking for memory.
    void read(Direction direction, std::span<const unsigned char> bytes, const Take& take);
    /// Gives what is unfinished to `take`.
    void flush(const Take& take);
    void flush(Direction direction, const Take& take);
    /// The console is held in reset: lamps off, keys up.
    void reset();
    /// The line is another one, or gone: nothing is known but what the driver remembers.
    void forget();
    /// Bytes are missing.
    void missed() { m_packets.missed(); }

    const ConsoleLook& look() const { return m_look; }
    const PacketReader& packets() const { return m_packets; }

private:
    static constexpr std::size_t longest = 48;

    struct Way {
        Direction direction;
        std::string message{};  ///< unfinished
        bool monitor = false;   ///< text of the boot monitor
    };

    void receive(std::span<const unsigned char> bytes, const Take& take);
    void finish(Way& way, const Take& take, const std::optional<Packet>& packet = {});
    std::string meaning(Way& way, const std::optional<Packet>& packet, bool inWords);
    std::string typed(std::string_view text);
    std::string command(std::string_view text, bool inWords);
    void follow(const Packet& packet);
    std::string packetText(const Packet& packet, std::string_view text) const;
    std::string_view whyIgnored(const Packet& packet) const;

    ConsoleLook m_look;
    PacketReader m_packets;
    bool m_driverReads = true;  ///< packets: it has done with the boot monitor
    Way m_sent{.direction = Direction::transmit};
    Way m_received{.direction = Direction::receive};
    std::optional<int> m_lampOff;  ///< by the last command
    bool m_jumping = false;        ///< the jump has been typed, its return not yet
};

}  // namespace cvhost::wire
