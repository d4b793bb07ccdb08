#include "apps/cvhost/control/Ownership.h"

namespace cvhost::control {

bool Ownership::takeLamps(ClientId client) {
    if (!m_lamps) m_lamps = client;
    return m_lamps == client;
}

void Ownership::dropLamps(ClientId client) {
    if (m_lamps == client) m_lamps.reset();
}

Codes Ownership::claimed() const {
    Codes codes;
    for (std::size_t code = 0; code < codes.size(); ++code) codes.set(code, m_claimants.at(code).has_value());
    return codes;
}

std::optional<int> Ownership::claim(ClientId client, const Codes& codes) {
    for (std::size_t code = 0; code < codes.size(); ++code) {
        const auto& other = m_claimants.at(code);
        if (codes.test(code) && other && other != client) return static_cast<int>(code);
    }
    for (std::size_t code = 0; code < codes.size(); ++code) {
        auto& claimant = m_claimants.at(code);
        if (codes.test(code)) claimant = client;
        if (!codes.test(code) && claimant == client) claimant.reset();
    }
    return std::nullopt;
}

void Ownership::leave(ClientId client) {
    claim(client, {});
    dropLamps(client);
}

}  // namespace cvhost::control
