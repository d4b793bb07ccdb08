// The console's program: commands that end with a space in, packets that end with a space out.
//
//   ?            asks for the version: V and three hex digits
//   <state><n>   sets lamp n (1 to 46, no leading zero) to state O (off), F (on), H or B
//   W, X         the wheel on, off
//   K            accepted; does nothing that shows
//
// Anything else is ignored and counted. The wheel's movement is reported whether it is on or off, since a host may take
// movement of a wheel that is off as the wish to switch it on; on and off are for the operator's fingers and the lamp.
//
// Threads: one at a time.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "desk/DeskEvent.h"

namespace desk {

class Program {
public:
    static constexpr int lampCount = 46;

    /// `version`: as answered; the low 12 bits count.
    explicit Program(int version) : m_version(static_cast<unsigned>(version) & 0xFFFU) { restart(); }

    /// Begins anew: all lamps and the wheel off, nothing asked.
    void restart();
    /// Takes a byte and appends to `out` what is sent back. False: that byte ended a command that means nothing.
    bool take(char byte, const Watcher& watcher, std::string& out);
    /// The packet that tells where ring and wheel are.
    std::string wheelStatus(unsigned char shuttle, std::int8_t counts, std::int16_t fine) const;

    bool versionAsked() const { return m_versionAsked; }
    bool wheelOn() const { return m_wheelOn; }
    char lamp(int number) const;

private:
    bool carryOut(const Watcher& watcher, std::string& out);
    bool setLamp(const Watcher& watcher);
    void setWheel(bool on, const Watcher& watcher);

    static constexpr std::size_t commandLimit = 16;  ///< longer ones mean nothing anyway

    unsigned m_version;
    std::string m_command;                  ///< at most commandLimit bytes
    std::array<char, lampCount> m_lamps{};  ///< lamp 1 first
    bool m_wheelOn = false;
    bool m_versionAsked = false;
};

}  // namespace desk
