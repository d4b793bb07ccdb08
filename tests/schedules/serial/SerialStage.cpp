#include "tests/schedules/serial/SerialStage.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "host/linux/serial/Rfc2217.h"
#include "host/linux/serial/SerialPorts.h"
#include "host/linux/serial/Termios.h"
#include "tests/schedules/Accesses.h"
#include "tests/schedules/Memory.h"
#include "tests/schedules/Scripts.h"
#include "tests/schedules/serial/SerialAccesses.h"

namespace schedules {
namespace {

SerialStage* s_stage = nullptr;

class PlayedTransport final : public cvhost::SerialTransport {
public:
    explicit PlayedTransport(SerialLine& line)
        : m_line(line), m_descriptor(System::current()->open([&line] { return readyFor(line); })) {
        ++m_line.transports;
        SerialStage::require(m_line.transports == 1, "two transports are open on one line");
    }
    ~PlayedTransport() override {
        SerialStage::require(!m_reading, "the transport goes while it is read from");
        System::current()->close(m_descriptor);
        --m_line.transports;
    }

    int descriptor() const noexcept override { return m_descriptor; }
    Transfer read(std::span<unsigned char> into) override {
        m_reading = true;
        System::current()->scheduler().point("read");
        m_reading = false;
        if (m_line.gone) return {.error = EIO};
        const std::size_t count = std::min(into.size(), m_line.arriving.size());
        std::copy_n(m_line.arriving.begin(), count, into.begin());
        m_line.arriving.erase(0, count);
        return {.count = count};
    }
    Transfer write(std::span<const unsigned char> bytes) override {
        System::current()->scheduler().point("write");
        if (m_line.gone) return {.error = EIO};
        m_line.sent.append(bytes.begin(), bytes.end());
        return {.count = bytes.size()};
    }
    int setRts(bool) override { return m_line.gone ? EIO : 0; }
    std::size_t queued() override { return 0; }

private:
    static short readyFor(const SerialLine& line) {
        if (line.gone) return POLLIN | POLLHUP;
        return static_cast<short>(line.arriving.empty() ? POLLOUT : POLLIN | POLLOUT);
    }

    SerialLine& m_line;
    const int m_descriptor;
    bool m_reading = false;
};

}  // namespace

SerialStage::SerialStage(sim::ScheduleSearch& search)
    : m_search(search), m_scheduler({.timeLimit = std::chrono::minutes(10), .chooser = this}) {
    s_stage = this;
    cvhost::setEventSink([this](const cvhost::Event& event) {
        const memory::Outside notTheRuns;
        if (const auto* change = std::get_if<cvhost::PortChange>(&event)) m_reports.push_back(change->state);
    });
    accesses::begin(m_scheduler);
}

SerialStage::~SerialStage() {
    cvhost::releaseClosedPorts();
    m_scheduler.settle();
    accesses::end();
    cvhost::setEventSink(nullptr);
    for (const SerialLine& each : m_lines) require(each.transports == 0, "a transport is left");
    require(!m_scheduler.runs("rx"), "a receive thread is left");
    const int ends = reported(cvhost::PortState::closed) + reported(cvhost::PortState::lost);
    require(ends == reported(cvhost::PortState::open), "not each port's end was reported, and once");
    s_stage = nullptr;
}

std::size_t SerialStage::choose(std::span<sim::Thread* const> candidates, bool interrupts) {
    const memory::Outside notTheRuns;
    return m_search.choose(candidates, interrupts);
}

void SerialStage::play(std::initializer_list<Actor> actors) {
    std::vector<sim::ThreadHandle> threads;
    m_search.open();
    for (const Actor& actor : actors) threads.push_back(m_scheduler.start(actor.name, actor.act));
    for (const sim::ThreadHandle& thread : threads) m_scheduler.join(thread);
    m_scheduler.settle();
    m_search.close();
}

LightweightString<wchar_t> SerialStage::nameOf(int number) { return Cv::WStringFromAscii(number == 0 ? "one" : "two"); }

Cv::Ptr<CommsPort> SerialStage::open(int number) { return comms_port_open(nameOf(number), 9600, 8, 'N', 1); }

void SerialStage::arrive(const std::string& bytes, int number) {
    line(number).arriving += bytes;
    m_system.changed();
}

void SerialStage::pull(int number) {
    line(number).gone = true;
    m_system.changed();
}

void SerialStage::require(bool holds, const std::string& what) {
    if (!holds) failed(what);
}

int SerialStage::reported(cvhost::PortState state) const { return static_cast<int>(std::ranges::count(m_reports, state)); }

void SerialHandler::drop() {
    commsDeregisterHandler(callback, this);
    SerialStage::require(!m_inside, "a call of the handler outlasts its end");
    retire();
}

void SerialHandler::retire() { m_retired = true; }

bool SerialHandler::callback(void* self) {
    auto& handler = *static_cast<SerialHandler*>(self);
    SerialStage::require(!handler.m_inside, "a handler is in two calls");
    SerialStage::require(!handler.m_retired, "a handler is called after its end");
    handler.m_inside = true;
    ++handler.m_calls;
    System::current()->scheduler().point("a handler");
    handler.m_body();
    handler.m_inside = false;
    return true;
}

}  // namespace schedules

namespace cvhost {

OpenedTransport openTermios(const std::string& path, const LineSettings&) {
    auto& line = schedules::s_stage->line(path == "one" ? 0 : 1);
    return {.transport = std::make_unique<schedules::PlayedTransport>(line), .error = 0, .reason = {}};
}

OpenedTransport openRfc2217(std::string_view, const LineSettings&) { return {}; }

}  // namespace cvhost
