#include "lines/UsbIp.h"

#include <algorithm>
#include <cerrno>

namespace lines {
namespace {

enum Command : std::uint32_t { cmdSubmit = 1, cmdUnlink = 2, retSubmit = 3, retUnlink = 4 };

// Where the numbers of a message are.
constexpr std::size_t headerSize = 48;
constexpr std::size_t sequenceAt = 4, directionAt = 12, endpointAt = 16;
constexpr std::size_t lengthAt = 24, packetsAt = 32, setupAt = 40;
constexpr std::size_t unlinkedAt = 20;

constexpr std::uint32_t lengthLimit = 65536;  // drivers read and write some hundred bytes at a time
constexpr std::size_t transferLimit = 64;

std::uint32_t number(const Ftdi::Bytes& bytes, std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value = value << 8 | bytes.at(at + i);
    return value;
}

void append(Ftdi::Bytes& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<unsigned char>(value >> shift & 0xFFU));
}

/// Appends an answer: the number of bytes transferred, and those for the kernel.
void answer(Ftdi::Bytes& out, Command command, std::uint32_t sequence, int status, std::size_t length,
            const Ftdi::Bytes& data = {}) {
    const std::size_t end = out.size() + headerSize;
    for (const std::uint32_t value : {std::uint32_t{command}, sequence, 0U, 0U, 0U, static_cast<std::uint32_t>(status)})
        append(out, value);
    append(out, static_cast<std::uint32_t>(length));
    out.resize(end);
    out.insert(out.end(), data.begin(), data.end());
}

}  // namespace

bool UsbIp::receive(std::span<const unsigned char> bytes, desk::Machine& desk, desk::Time now, Bytes& out) {
    m_input.insert(m_input.end(), bytes.begin(), bytes.end());
    for (;;) {
        const auto taken = takeMessage(desk, now, out);
        if (!taken) return false;
        if (*taken == 0) return true;
        m_input.erase(m_input.begin(), m_input.begin() + static_cast<std::ptrdiff_t>(*taken));
        advance(now, out);
    }
}

std::optional<std::size_t> UsbIp::takeMessage(desk::Machine& desk, desk::Time now, Bytes& out) {
    if (m_input.size() < headerSize) return 0;
    const std::uint32_t command = number(m_input, 0);
    if (command == Command::cmdUnlink) {
        unlink(out);
        return headerSize;
    }
    const std::uint32_t length = number(m_input, lengthAt);
    const std::uint32_t packets = number(m_input, packetsAt);
    // Only isochronous transfers have packets, and the device has none of those.
    const bool answerable = command == Command::cmdSubmit && length <= lengthLimit && (packets == 0 || packets == ~0U);
    if (!answerable) return std::nullopt;
    const std::size_t dataSize = number(m_input, directionAt) == 0 ? length : 0;
    if (m_input.size() < headerSize + dataSize) return 0;
    if (!submit(std::span(m_input).subspan(headerSize, dataSize), desk, now, out)) return std::nullopt;
    return headerSize + dataSize;
}

bool UsbIp::submit(std::span<const unsigned char> data, desk::Machine& desk, desk::Time now, Bytes& out) {
    const bool in = number(m_input, directionAt) != 0;
    const std::uint32_t endpoint = number(m_input, endpointAt);
    Transfer transfer{.sequence = number(m_input, sequenceAt), .length = number(m_input, lengthAt)};
    if (endpoint == 0) {
        submitControl(transfer, in, desk, now, out);
    } else if (endpoint == 1 && in) {
        if (m_reads.size() >= transferLimit) return false;
        m_reads.push_back(transfer);
    } else if (endpoint == 2 && !in) {
        if (m_writes.size() >= transferLimit) return false;
        transfer.at = m_device.write(data, desk, now);
        m_writes.push_back(transfer);
    } else {
        answer(out, Command::retSubmit, transfer.sequence, -EPIPE, 0);
    }
    return true;
}

void UsbIp::submitControl(const Transfer& transfer, bool in, desk::Machine& desk, desk::Time now, Bytes& out) {
    Ftdi::Setup setup{};
    std::copy_n(m_input.begin() + setupAt, setup.size(), setup.begin());
    auto reply = m_device.control(setup, desk, now);
    if (!reply) {
        answer(out, Command::retSubmit, transfer.sequence, -EPIPE, 0);
        return;
    }
    if (in) {
        reply->resize(std::min(reply->size(), transfer.length));
        answer(out, Command::retSubmit, transfer.sequence, 0, reply->size(), *reply);
    } else {
        answer(out, Command::retSubmit, transfer.sequence, 0, transfer.length);
    }
}

/// Withdraws a transfer, which then gets no answer. The unlink's own answer is -ECONNRESET, or 0 if the transfer was
/// complete.
void UsbIp::unlink(Bytes& out) {
    const auto taken = [wanted = number(m_input, unlinkedAt)](const Transfer& transfer) {
        return transfer.sequence == wanted;
    };
    const bool waited = std::erase_if(m_reads, taken) + std::erase_if(m_writes, taken) != 0;
    answer(out, Command::retUnlink, number(m_input, sequenceAt), waited ? -ECONNRESET : 0, 0);
}

void UsbIp::send(std::span<const unsigned char> bytes, desk::Time now, Bytes& out) {
    m_device.receive(bytes, now);
    advance(now, out);
}

void UsbIp::advance(desk::Time now, Bytes& out) {
    while (!m_writes.empty() && m_writes.front().at <= now) {
        answer(out, Command::retSubmit, m_writes.front().sequence, 0, m_writes.front().length);
        m_writes.pop_front();
    }
    while (!m_reads.empty()) {
        const auto data = m_device.read(m_reads.front().length, now);
        if (!data) return;
        answer(out, Command::retSubmit, m_reads.front().sequence, 0, data->size(), *data);
        m_reads.pop_front();
    }
}

std::optional<desk::Time> UsbIp::nextEvent() const {
    std::optional<desk::Time> next;
    if (!m_reads.empty()) next = m_device.nextRead();
    if (!m_writes.empty() && (!next || m_writes.front().at < *next)) next = m_writes.front().at;
    return next;
}

}  // namespace lines
