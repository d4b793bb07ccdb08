// Reads along on the line: cuts what passes into messages, says what each means, and keeps what the console must look like.
//
// While the console is in reset or in its boot monitor, a message is a line of text; from the start of its program on, it
// is what stands before a space.
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

#include "host/core/Events.h"

namespace cvhost {

/// The console as it must look from what has passed on its line.
struct ConsoleLook {
    static constexpr int lamps = 46;
    static constexpr int keys = 48;  ///< codes of keys

    std::array<char, lamps> lamp{};  ///< lamp 1 first: 'O', 'F', 'H' or 'B'; '?' until the first command for it
    std::array<bool, keys> held{};   ///< by key code
    bool wheel = false;
    bool ringTold = false;  ///< the console has told where its ring is
    int ring = 127;         ///< position of the shuttle ring, 0..255
    double turned = 0;      ///< the jog wheel, in counts: the sum of what it has told
};

struct WireMessage {
    Direction direction;
    std::string bytes;          ///< printable
    std::string meaning;        ///< in words; empty for none
    std::optional<int> ring{};  ///< where it stands, in a message that tells it
};

class WireReader {
public:
    using Take = std::function<void(const WireMessage&)>;

    WireReader() { forget(); }

    /// Reads `bytes` and gives each message that ends in them to `take`.
    void read(Direction direction, std::span<const unsigned char> bytes, const Take& take);
    /// Gives what is unfinished to `take`.
    void flush(const Take& take);
    /// The console is held in reset: lamps off, keys up.
    void reset();
    /// The line is another one, or gone: nothing is known.
    void forget();

    const ConsoleLook& look() const { return m_look; }

private:
    static constexpr std::size_t longest = 48;

    struct Way {
        Direction direction;
        std::string message{};  ///< unfinished
        bool monitor = false;   ///< text of the boot monitor
    };

    void finish(Way& way, const Take& take);
    std::string meaning(Way& way);
    std::string typed(std::string_view text);
    std::string command(std::string_view text);
    std::string packet(std::string_view text);
    std::string wheelStatus(std::string_view digits);

    ConsoleLook m_look;
    Way m_sent{.direction = Direction::transmit};
    Way m_received{.direction = Direction::receive};
    std::optional<int> m_ring;  ///< what the message that is being finished tells of the ring
    bool m_jumping = false;     ///< the jump has been typed, its return not yet
};

}  // namespace cvhost
