#include "lines/Ftdi.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace lines {
namespace {

// USB 2.0, tables 9-4 and 9-5, and the requests of the vendor.
enum Request : unsigned {
    getStatus = 0x8000,
    getInterfaceStatus = 0x8100,
    getEndpointStatus = 0x8200,
    clearEndpointFeature = 0x0201,
    getDescriptor = 0x8006,
    getConfiguration = 0x8008,
    setConfiguration = 0x0009,
    getInterface = 0x810A,
    setInterface = 0x010B,

    reset = 0x4000,
    setModemControl = 0x4001,
    setFlowControl = 0x4002,
    setBaudRate = 0x4003,
    setData = 0x4004,
    getModemStatus = 0xC005,
    setEventCharacter = 0x4006,
    setErrorCharacter = 0x4007,
    setLatencyTimer = 0x4009,
    getLatencyTimer = 0xC00A,
    readEeprom = 0xC090,
};
enum DescriptorType : unsigned { device = 1, configuration = 2, text = 3 };

// Vendor 0403, product 6001, release 6.00 (which is how the driver knows an FT232R), texts 1, 2 and 3, one configuration.
constexpr unsigned char deviceDescriptor[] = {18, 1, 0x00, 0x02, 0, 0, 0, 8, 0x03, 0x04, 0x01, 0x60, 0x00, 0x06, 1, 2, 3, 1};
// Bus-powered with 90 mA; one interface of the vendor's own class; bulk endpoints 1 in and 2 out of 64 bytes.
constexpr unsigned char configurationDescriptor[] = {9,    2,    32,   0,  1,
                                                     1,    0,    0xA0, 45,  //
                                                     9,    4,    0,    0,  2,
                                                     0xFF, 0xFF, 0xFF, 2,  //
                                                     7,    5,    0x81, 2,  Ftdi::packetSize,
                                                     0,    0,  //
                                                     7,    5,    0x02, 2,  Ftdi::packetSize,
                                                     0,    0};
static_assert(sizeof deviceDescriptor == 18 && sizeof configurationDescriptor == 32);

constexpr unsigned char modemStatus = 0x01 | 0x10 | 0x20 | 0x80;  // always 1; CTS, DSR and CD
constexpr unsigned char nothingToSend = 0x20 | 0x40;              // holding register and transmitter empty
constexpr unsigned char overrun = 0x02;

unsigned word(const Ftdi::Setup& setup, std::size_t at) { return setup.at(at) | unsigned{setup.at(at + 1)} << 8; }

template <std::size_t size>
Ftdi::Bytes bytesOf(const unsigned char (&bytes)[size]) {
    return {bytes, bytes + size};
}

Ftdi::Bytes textDescriptor(std::string_view ascii) {
    Ftdi::Bytes bytes{static_cast<unsigned char>(2 + 2 * ascii.size()), DescriptorType::text};
    for (const char character : ascii) bytes.insert(bytes.end(), {static_cast<unsigned char>(character), 0});
    return bytes;
}

/// The divisor of 3 MHz in eighths: 14 whole bits, and a code of three bits for the eighths.
int baudOf(unsigned value, unsigned index) {
    constexpr std::array<int, 8> eighths{0, 4, 2, 1, 3, 5, 6, 7};
    const int whole = static_cast<int>(value & 0x3FFFU);
    const unsigned code = value >> 14 | (index & 1U) << 2;
    if (whole == 0) return 3'000'000;
    if (whole == 1) return 2'000'000;
    const int divisor = whole * 8 + eighths.at(code);
    return (3'000'000 * 8 + divisor / 2) / divisor;
}
static_assert((3'000'000 * 8) / 9600 == 0x138 * 8 + 4);

std::string formatOf(unsigned value) {
    constexpr std::array<std::string_view, 4> stopBits{"1", "1.5", "2", "?"};
    const unsigned parity = value >> 8 & 7U;
    std::string format = std::to_string(value & 0xFFU);
    format += parity < 5 ? "NOEMS"[parity] : '?';
    return format += stopBits.at(value >> 11 & 3U);
}

desk::LineSettings settingsOf(const SerialSettings& settings) {
    const std::string& format = settings.format;
    if (format.size() != 3) return {.baud = settings.baud};
    return {.baud = settings.baud, .dataBits = format[0] - '0', .parity = format[1], .stopBits = format[2] - '0'};
}

desk::Time timeOf(std::size_t bytes, int baud, const desk::Machine& desk) {
    if (desk.unpaced() || baud == 0) return {};
    return static_cast<desk::Time::rep>(bytes) * desk::Time(10LL * 1'000'000'000 / baud);
}

}  // namespace

Ftdi::Ftdi(std::string product, SettingsWatcher watcher) : m_product(std::move(product)), m_watcher(std::move(watcher)) {}

std::optional<Ftdi::Bytes> Ftdi::control(const Setup& setup, desk::Machine& desk, desk::Time now) {
    switch (unsigned{setup[0]} << 8 | setup[1]) {
        case Request::setConfiguration:
            m_configuration = setup[2];
            return Bytes{};
        case Request::getModemStatus: {
            const auto bytes = status(now);
            return Bytes(bytes.begin(), bytes.end());
        }
        case Request::getLatencyTimer:
            return Bytes{static_cast<unsigned char>(m_settings.latencyMs)};
        case Request::readEeprom:
            return Bytes{0xFF, 0xFF};  // an empty EEPROM
        default:
            break;
    }
    if ((setup[0] & 0x60U) == 0) return standardRequest(setup);
    const SerialSettings before = m_settings;
    if (!vendorRequest(setup, desk, now)) return std::nullopt;
    const bool complete = m_settings.baud != 0 && !m_settings.format.empty();
    if (complete && m_settings != before) {
        desk.setLine(settingsOf(m_settings));
        if (m_watcher) m_watcher(m_settings);
    }
    return Bytes{};
}

std::optional<Ftdi::Bytes> Ftdi::standardRequest(const Setup& setup) const {
    switch (unsigned{setup[0]} << 8 | setup[1]) {
        case Request::getDescriptor:
            return descriptor(setup[3], setup[2]);
        case Request::getStatus:
        case Request::getInterfaceStatus:
        case Request::getEndpointStatus:
            return Bytes{0, 0};
        case Request::getConfiguration:
            return Bytes{m_configuration};
        case Request::getInterface:
            return Bytes{0};
        case Request::setInterface:
        case Request::clearEndpointFeature:
            return Bytes{};
        default:
            return std::nullopt;
    }
}

std::optional<Ftdi::Bytes> Ftdi::descriptor(unsigned type, unsigned index) const {
    if (type == DescriptorType::device) return bytesOf(deviceDescriptor);
    if (type == DescriptorType::configuration && index == 0) return bytesOf(configurationDescriptor);
    if (type == DescriptorType::text && index == 0) return Bytes{4, DescriptorType::text, 0x09, 0x04};  // in English
    if (type == DescriptorType::text && index == 1) return textDescriptor("Simulated");
    if (type == DescriptorType::text && index == 2) return textDescriptor(m_product);
    if (type == DescriptorType::text && index == 3) return textDescriptor("cvdesk");
    return std::nullopt;
}

bool Ftdi::vendorRequest(const Setup& setup, desk::Machine& desk, desk::Time now) {
    const unsigned value = word(setup, 2);
    switch (unsigned{setup[0]} << 8 | setup[1]) {
        case Request::reset:  // 0: everything; 1: what waits for the host; 2: what waits to be sent
            if (value != 2) m_received.clear();
            m_statusDue = now + latency();
            return true;
        case Request::setModemControl:  // low byte: the levels; high byte: which lines change
            if ((value & 0x100U) != 0) m_settings.dtr = (value & 1U) != 0;
            if ((value & 0x200U) != 0) {
                m_settings.rts = (value & 2U) != 0;
                desk.setRts(m_settings.rts, now);
            }
            return true;
        case Request::setBaudRate:
            m_settings.baud = baudOf(value, word(setup, 4));
            return true;
        case Request::setData:
            m_settings.format = formatOf(value);
            return true;
        case Request::setLatencyTimer:
            if (value == 0 || value > 255) return false;
            m_settings.latencyMs = static_cast<int>(value);
            return true;
        case Request::setFlowControl:
        case Request::setEventCharacter:
        case Request::setErrorCharacter:
            return true;
        default:
            return false;
    }
}

desk::Time Ftdi::write(std::span<const unsigned char> bytes, desk::Machine& desk, desk::Time now) {
    if (passes())
        for (const unsigned char byte : bytes) desk.receive(byte, now);
    if (!m_statusDue) m_statusDue = now + latency();
    m_sentAt = std::max(m_sentAt, now) + timeOf(bytes.size(), m_settings.baud, desk);
    return std::max(now, m_sentAt - timeOf(sendBuffer, m_settings.baud, desk));
}

void Ftdi::receive(std::span<const unsigned char> bytes, desk::Time now) {
    if (!passes()) return;
    if (m_received.empty()) m_due = now + latency();
    const std::size_t taken = std::min(bytes.size(), receiveBuffer - m_received.size());
    m_received.insert(m_received.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
    m_overrun = m_overrun || taken < bytes.size();
}

std::optional<Ftdi::Bytes> Ftdi::read(std::size_t length, desk::Time now) {
    const std::size_t fullPackets = length / packetSize;
    const bool fillsIt = fullPackets > 0 && m_received.size() >= fullPackets * (packetSize - statusSize);
    const auto due = nextRead();
    if (!fillsIt && (!due || *due > now)) return std::nullopt;
    Bytes answer;
    std::size_t data = packetSize;
    // A short packet ends the transfer.
    while (length - answer.size() >= statusSize && data >= packetSize - statusSize) {
        data = std::min({packetSize - statusSize, length - answer.size() - statusSize, m_received.size()});
        const auto head = status(now);
        const auto end = m_received.begin() + static_cast<std::ptrdiff_t>(data);
        answer.insert(answer.end(), head.begin(), head.end());
        answer.insert(answer.end(), m_received.begin(), end);
        m_received.erase(m_received.begin(), end);
    }
    m_due = now + latency();
    m_statusDue = m_sentAt > now ? std::optional(m_sentAt + latency()) : std::nullopt;
    return answer;
}

std::optional<desk::Time> Ftdi::nextRead() const {
    if (m_received.empty()) return m_statusDue;
    return m_statusDue ? std::min(m_due, *m_statusDue) : m_due;
}

std::array<unsigned char, Ftdi::statusSize> Ftdi::status(desk::Time now) {
    unsigned line = m_sentAt <= now ? nothingToSend : 0U;
    if (std::exchange(m_overrun, false)) line |= overrun;
    return {modemStatus, static_cast<unsigned char>(line)};
}

}  // namespace lines
