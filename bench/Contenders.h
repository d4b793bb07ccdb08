// Those who wait for bytes: each notes the time at which it has them.
//
// Threads: a contender waits on a thread, or in a process, of its own; the rest belongs to the measurement's thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/ConsoleStub.h"
#include "bench/Mailbox.h"

namespace bench {

/// Single bytes; packets, text that ends with a blank; or keys, which are packets too, up to the host's handler behind the
/// plug-in.
enum class Unit { byte, packet, key };

class Contender {
public:
    Contender(std::string whose, LineKind line);
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;
    virtual ~Contender() = default;

    const std::string name;
    /// The nanoseconds from just before `bytes` are sent to their arrival. Throws when they do not arrive in 10 s.
    std::uint64_t measure(std::string_view bytes);

protected:
    virtual void send(std::string_view bytes);
    ConsoleStub& end() { return m_end; }
    Mailbox& mailbox() { return m_mailbox; }
    int mailboxFile() const { return m_mailboxFile.get(); }

private:
    cvhost::FileDescriptor m_mailboxFile;
    Mailbox& m_mailbox;
    ConsoleStub m_end;
};

using Contenders = std::vector<std::unique_ptr<Contender>>;

/// Everyone who can wait for `unit` on such a line, the floor first, this host second. For bytes and packets the others and
/// the floor are done when they have them. For keys all do the same work, in a process each, and differ only in what
/// carries the bytes. The packets' host has the plug-in loaded: there can be one such list at a time.
Contenders contendersFor(LineKind line, Unit unit);
/// The packets' second one alone.
std::unique_ptr<Contender> hostKey(LineKind line);

}  // namespace bench
