// Those who wait for bytes: each notes the time at which it has them.
//
// Threads: a contender waits on a thread, or in a process, of its own; the rest belongs to the measurement's thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/ConsoleStub.h"

namespace bench {

/// Single bytes, or packets: text that ends with a blank.
enum class Unit { byte, packet };

/// Where a contender, in whatever process, leaves the time of its last arrival. In shared memory.
struct Mailbox {
    std::atomic<std::uint64_t> count;
    std::atomic<std::uint64_t> at;  ///< nanoseconds of CLOCK_MONOTONIC; written before `count`

    void note() noexcept;
};

std::uint64_t nowNs() noexcept;

class Contender {
public:
    Contender(std::string whose, LineKind line);
    Contender(const Contender&) = delete;
    Contender& operator=(const Contender&) = delete;
    virtual ~Contender();

    const std::string name;
    /// The nanoseconds from just before `bytes` are sent to their arrival. Throws when they do not arrive in 10 s.
    std::uint64_t measure(std::string_view bytes);

protected:
    virtual void send(std::string_view bytes);
    ConsoleStub& end() { return *m_end; }
    Mailbox& mailbox() { return *m_mailbox; }
    int mailboxFile() const { return m_mailboxFile.get(); }
    /// Ends the line, so that whoever waits on it returns.
    void endLine() { m_end.reset(); }

private:
    cvhost::FileDescriptor m_mailboxFile;
    Mailbox* m_mailbox;
    std::unique_ptr<ConsoleStub> m_end;
};

using Contenders = std::vector<std::unique_ptr<Contender>>;

/// Everyone who can wait for `unit` on such a line, the floor first, this host second. The packets' one has the plug-in
/// loaded: there can be one such list at a time.
Contenders contendersFor(LineKind line, Unit unit);
/// The packets' second one alone.
std::unique_ptr<Contender> hostKey(LineKind line);

}  // namespace bench
