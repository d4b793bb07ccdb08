#include "tests/support/Rig.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "console/Settings.h"
#include "tests/support/ConsoleTestAccess.h"

namespace support {
namespace {

bool s_cold = false;

/// What must be done before a rig's world begins.
const sim::Schedule& ready(const sim::Schedule& schedule) {
    if (!s_cold) fixBeyondPlayMultiplier();
    resetDriver();
    return schedule;
}

desk::Desk* attach(sim::Line& port, const desk::Options* options) {
    return options == nullptr ? nullptr : &port.attachDesk(*options);
}

constexpr std::string_view handlerNote = "handler ";

}  // namespace

std::string Operator::lamps() const {
    std::string states;
    for (int number = 1; number <= 46; ++number) states += lamp(number);
    return states;
}

Rig::Rig(const desk::Options& options, const sim::Schedule& schedule) : Rig(schedule, &options) {}
Rig::Rig(Scripted, const sim::Schedule& schedule) : Rig(schedule, nullptr) {}

Rig::Rig(const sim::Schedule& schedule, const desk::Options* options)
    : world(ready(schedule)), port(world.addPort("/dev/ttyUSB0", "Corvane Console")), desk(world, attach(port, options)) {
    if (options == nullptr) m_peer = &port.attachScript();
    prefer(true);
}

Rig::~Rig() {
    unload();
    resetDriver();
}

void Rig::start_cold() { s_cold = true; }

void Rig::debug(bool on) { Cv::s_consoleDebug = on; }

void Rig::jog_turn_on(bool on, int level) {
    Cv::s_autoJogTurnOn = on;
    Cv::s_autoJogTriggerLevel = level;
}

Plugin& Rig::plugin() {
    if (!m_plugin) m_plugin.emplace();
    return *m_plugin;
}

bool Rig::start(Time limit) {
    init();
    return run_until([this] { return !thread_runs(); }, limit);
}

void Rig::activate(char version) {
    console().open_port();
    receives(std::string("V00") + version + " ");
    forget();
}

sim::ThreadHandle Rig::on_thread(std::string name, std::function<void()> what) {
    return world.scheduler().start(std::move(name), std::move(what));
}

void Rig::receives(std::string_view bytes) {
    for (const char byte : bytes) receives_at_once({&byte, 1});
}

void Rig::receives_at_once(std::string_view bytes) {
    port.inject(bytes);
    world.scheduler().settle();
}

bool Rig::Handler::execute(int code) {
    m_world.record(Kind::note, std::string(handlerNote) + std::to_string(code));
    return !m_action || m_action(code);
}

void Rig::handle(int code, std::function<bool(int)> action) {
    auto& handler = m_handlers[code];
    handler = std::make_unique<Handler>(world, std::move(action));
    m_table.set(code, handler.get());
    ConsoleHandlerManager::theManager()->setCurrentHandlerTable(&m_table);
}

Codes Rig::handled() const {
    Codes codes;
    for (const std::string& note : textsOf(world.recording(), Kind::note)) {
        if (note.starts_with(handlerNote)) codes.push_back(std::stoi(note.substr(handlerNote.size())));
    }
    return codes;
}

Keys Rig::keys() const {
    Keys keys;
    for (const std::string& text : textsOf(world.recording(), Kind::key)) {
        int code = 0;
        int handled = 0;
        int flags = 0;
        if (std::sscanf(text.c_str(), "%d %d %d", &code, &handled, &flags) != 3) std::abort();
        keys.push_back({code, handled != 0, flags});
    }
    return keys;
}

std::string Rig::sent() const {
    std::string all;
    for (const std::string& bytes : writes()) all += bytes;
    return all;
}

Texts Rig::log_formats() const {
    Texts formats;
    for (const sim::Entry& entry : world.recording()) {
        if (entry.kind == Kind::log) formats.push_back(entry.format);
    }
    return formats;
}

Texts Rig::calls(std::string_view start) const {
    Texts found = calls();
    std::erase_if(found, [=](const std::string& call) { return !call.starts_with(start); });
    return found;
}

Texts Rig::transcript(std::initializer_list<Kind> kinds) const {
    Texts lines;
    for (const sim::Entry& entry : world.recording()) {
        if (std::ranges::find(kinds, entry.kind) == kinds.end()) continue;
        std::array<char, 48> head{};
        std::snprintf(head.data(), head.size(), "%.3f %s ", static_cast<double>(entry.at.count()) / 1e6,
                      sim::nameOf(entry.kind));
        lines.push_back(head.data() + sim::escaped(entry.text));
    }
    return lines;
}

std::vector<Time> Rig::times(Kind kind, std::string_view text) const {
    std::vector<Time> found;
    for (const sim::Entry& entry : world.recording()) {
        if (entry.kind == kind && entry.text == text) found.push_back(entry.at);
    }
    return found;
}

}  // namespace support
