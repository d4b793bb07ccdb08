// Finds the IPv4 address of a host by its name. A name server may be silent for long: nothing here waits for it.
//
// A thread asks the system's resolver, which cannot be interrupted. It owns all that it uses, so a lookup that is dropped
// leaves it behind: it ends with the resolver's answer, or with the process.
//
// Threads: one at a time.
#pragma once

#include <netinet/in.h>

#include <memory>
#include <optional>
#include <string>

namespace cvhost::map {

/// The address that `text` itself says in numbers; nothing if it is a name.
std::optional<in_addr> addressIn(const std::string& text);

class HostLookup {
public:
    /// Begins. Throws std::system_error when the system gives no thread or descriptor.
    explicit HostLookup(const std::string& host);

    /// Readable from the answer on.
    int descriptor() const;
    /// The answer. Throws TargetFailure: there is no such host, or no answer yet.
    in_addr address() const;

private:
    struct Question;

    std::shared_ptr<Question> m_question;
};

}  // namespace cvhost::map
