// Reads what the console sends as the driver does: framing, order of decisions, and what the driver remembers of the
// console.
//
// Threads: one at a time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cvhost::wire {

struct Packet {
    enum class Kind { empty, version, ignored, status, press, release, unknown };

    Kind kind = Kind::unknown;
    bool accepted = false;   ///< the driver acts on it
    bool forwarded = false;  ///< it came behind a tilde
    int number = 0;          ///< the version, or the key's code
    int ring = 0;            ///< 0..255
    double turned = 0;       ///< the jog wheel, in counts
};

class PacketReader {
public:
    /// Takes the next byte; the packet that it completes. The driver gets each byte before the next has arrived.
    std::optional<Packet> take(unsigned char byte);
    /// The driver has closed its port: until the next version, nothing else counts.
    void close();
    /// Bytes are missing: whatever may have been told in them counts as told.
    void missed();
    /// What `text` would be, without effect.
    Packet classify(std::string_view text) const;

    /// The version last told, as the driver has it: 0 for none yet, 6, or 7 for any other.
    int version() const { return m_version; }
    bool active() const { return m_active; }
    /// A console has told version 8: the driver understands the status of no other.
    bool onlyVersion8() const { return m_lead == leadOfVersion8; }
    /// The driver ignores the ring and wheel of the console that told its version last, though not its keys.
    bool statusIgnored() const { return m_active && onlyVersion8() && m_told != 8; }

private:
    static constexpr char leadOfVersion8 = 'L';

    bool listens() const { return m_active && m_version >= 7; }
    /// Takes a whole packet.
    Packet decode(std::string_view text);

    std::string m_text;  ///< what the driver's buffer holds: 12 bytes at most, the rest of a packet is dropped
    int m_version = 0;
    int m_told = 0;  ///< the version as the console told it
    bool m_active = false;
    char m_lead = '\\';  ///< how a status begins; 0: not known. Kept from port to port, as the driver keeps it.
};

}  // namespace cvhost::wire
