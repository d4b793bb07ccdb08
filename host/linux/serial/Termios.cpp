#include "host/linux/serial/Termios.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace cvhost {
namespace {

struct BaudRate {
    int baud;
    speed_t speed;
};
constexpr BaudRate baudRates[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},         {150, B150},
    {200, B200},         {300, B300},         {600, B600},         {1200, B1200},       {1800, B1800},
    {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},     {38400, B38400},
    {57600, B57600},     {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000}, {1500000, B1500000},
    {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000}, {4000000, B4000000},
};
constexpr tcflag_t dataSizes[] = {CS5, CS6, CS7, CS8};

/// The speed for a baud rate; B0, which would hang up, when there is none.
speed_t speedOf(int baud) {
    const auto* rate = std::ranges::find(baudRates, baud, &BaudRate::baud);
    return rate == std::end(baudRates) ? B0 : rate->speed;
}

class TermiosTransport final : public SerialTransport {
public:
    explicit TermiosTransport(FileDescriptor tty) : m_tty(std::move(tty)) {}
    ~TermiosTransport() override;

    int descriptor() const noexcept override { return m_tty.get(); }
    Transfer read(std::span<unsigned char> into) override {
        return transferred(::read(m_tty.get(), into.data(), into.size()));
    }
    Transfer write(std::span<const unsigned char> bytes) override;
    std::size_t queued() override;
    int setRts(bool high) override;

private:
    /// A tty that has been hung up reads as a file that ends.
    static Transfer transferred(ssize_t count) {
        if (count > 0) return {.count = static_cast<std::size_t>(count)};
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return {};
        return {.error = count < 0 ? errno : EIO};
    }

    FileDescriptor m_tty;
};

TermiosTransport::~TermiosTransport() {
    // A close would wait for what a stuck line has not taken. With nothing queued a flush must not be: on a pty the peer
    // would lose what it has not read yet.
    int unsent = 0;
    if (::ioctl(m_tty.get(), TIOCOUTQ, &unsent) == 0 && unsent > 0) ::tcflush(m_tty.get(), TCOFLUSH);
    ::ioctl(m_tty.get(), TIOCNXCL);
}

SerialTransport::Transfer TermiosTransport::write(std::span<const unsigned char> bytes) {
    if (bytes.empty()) return {};
    const ssize_t count = ::write(m_tty.get(), bytes.data(), bytes.size());
    return count == 0 ? Transfer{} : transferred(count);
}

std::size_t TermiosTransport::queued() {
    int count = 0;
    if (::ioctl(m_tty.get(), TIOCOUTQ, &count) == 0 && count > 0) return static_cast<std::size_t>(count);
    // What the UART itself still holds, if its driver reports it.
    unsigned status = TIOCSER_TEMT;
    ::ioctl(m_tty.get(), TIOCSERGETLSR, &status);
    return (status & TIOCSER_TEMT) != 0 ? 0 : 1;
}

int TermiosTransport::setRts(bool high) {
    const int line = TIOCM_RTS;
    if (::ioctl(m_tty.get(), high ? TIOCMBIS : TIOCMBIC, &line) == 0) return 0;
    return errno == EINVAL ? ENOTTY : errno;  // a pty answers either
}

/// Applies the settings; 0, or why they do not hold.
int apply(int tty, const LineSettings& settings, const termios& before) {
    constexpr tcflag_t format = CSIZE | PARENB | PARODD | CSTOPB;
    termios line = before;
    cfmakeraw(&line);
    line.c_cflag &= ~(format | HUPCL | CRTSCTS);
    line.c_cflag |= CLOCAL | CREAD | dataSizes[settings.dataBits - 5];
    if (settings.parity != 'N') line.c_cflag |= PARENB;
    if (settings.parity == 'O') line.c_cflag |= PARODD;
    if (settings.stopBits == 2) line.c_cflag |= CSTOPB;
    line.c_iflag &= ~static_cast<tcflag_t>(IXOFF | IXANY);
    line.c_cc[VMIN] = 1;  // so that an empty queue and a hang-up read differently
    line.c_cc[VTIME] = 0;
    if (cfsetspeed(&line, speedOf(settings.baud)) != 0) return errno;
    if (tcsetattr(tty, TCSANOW, &line) != 0) return errno;
    termios applied{};
    if (tcgetattr(tty, &applied) != 0) return errno;
    const bool same = (applied.c_cflag & (format | CRTSCTS)) == (line.c_cflag & (format | CRTSCTS)) &&
                      cfgetospeed(&applied) == cfgetospeed(&line) && cfgetispeed(&applied) == cfgetispeed(&line);
    return same ? 0 : EINVAL;
}

/// Adapters that collect bytes for some milliseconds hand them over at once, where their driver offers it.
void askForLowLatency(int tty) {
    serial_struct driver{};
    if (::ioctl(tty, TIOCGSERIAL, &driver) != 0) return;
    driver.flags |= static_cast<int>(ASYNC_LOW_LATENCY);
    ::ioctl(tty, TIOCSSERIAL, &driver);
}

OpenedTransport failed(int error) { return {.transport = nullptr, .error = error, .reason = describeError(error)}; }

}  // namespace

OpenedTransport openTermios(const std::string& path, const LineSettings& settings) {
    if (speedOf(settings.baud) == B0) return {.transport = nullptr, .error = 0, .reason = "no such baud rate"};
    FileDescriptor tty(::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!tty) return failed(errno);
    termios before{};
    if (tcgetattr(tty.get(), &before) != 0) return {.transport = nullptr, .error = ENOTTY, .reason = "not a serial port"};
    if (::flock(tty.get(), LOCK_EX | LOCK_NB) != 0) return failed(errno == EWOULDBLOCK ? EBUSY : errno);
    ::ioctl(tty.get(), TIOCEXCL);
    OpenedTransport opened;
    opened.error = apply(tty.get(), settings, before);
    askForLowLatency(tty.get());
    opened.transport = std::make_unique<TermiosTransport>(std::move(tty));
    return opened;
}

}  // namespace cvhost
