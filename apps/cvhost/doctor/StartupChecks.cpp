#include "apps/cvhost/doctor/StartupChecks.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <string>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "apps/cvhost/driver/DriverLog.h"
#include "desk/Monitor.h"

namespace cvhost::doctor {
namespace {

constexpr std::size_t shownBytes = 32;
constexpr std::size_t longestRead = 64;
constexpr std::string_view identify = "H ";
constexpr std::string_view jump = "J 0100 0";  // which starts the program
constexpr std::string_view versionRequest = "? ";

/// What the driver took from the line in one go, as it says itself.
using Reads = std::vector<std::string>;

/// What start-up's stages have brought. What passed on the line tells what the console did; only what the driver asked and
/// read tells what the driver knows.
struct Story {
    bool opened = false;
    bool lost = false;
    bool attemptOver = false;
    bool failed = false;  ///< the port could not be opened, or is lost
    bool busy = false;    ///< another program has it
    std::string trouble;  ///< why, as half a sentence
    bool noModemLines = false;
    bool writesFailed = false;
    std::string sent;
    std::string received;
    std::string afterJump;     ///< received since the program was started
    std::string afterRequest;  ///< received since the version was asked
    Reads afterIdentify;       ///< from the question which model it is until the program's start
    Reads afterStart;          ///< from the program's start on
    int version = 0;           ///< that the driver goes by; 0 while there is none
    std::chrono::microseconds openAt{}, activeAt{};

    /// The driver asks a monitor whose prompt it has read.
    bool modelAsked() const { return sent.find(identify) != sent.npos; }
    bool started() const { return sent.find(jump) != sent.npos; }
    bool prompted() const { return received.find(desk::prompt) != received.npos; }
    /// Without RTS a monitor's prompt has long gone by, but it takes the jump all the same.
    bool monitorSeen() const { return prompted() || afterJump.find(jump) != afterJump.npos; }
    /// What the driver read after the echoes of the request and of its end.
    std::string_view reply() const { return afterIdentify.size() > 2 ? afterIdentify[2] : std::string_view(); }
    bool startConfirmed() const { return afterStart.size() > 2 && afterStart[2] == "\r\n"; }
};

void takeRead(Story& story, const driver::log::Read& read) {
    std::string text(read.text);
    text.resize(std::min(read.count, longestRead));
    if (story.started()) {
        story.afterStart.push_back(std::move(text));
    } else if (story.modelAsked()) {
        story.afterIdentify.push_back(std::move(text));
    }
}

void takeLog(Story& story, const LoggedEvent& seen) {
    if (const auto read = driver::log::read(seen.text)) takeRead(story, *read);
    if (driver::log::isNoConsole(seen.text)) story.attemptOver = true;
    const auto version = driver::log::activeVersion(seen.text);
    if (!version || story.version != 0) return;
    story.version = *version;
    story.activeAt = seen.at;
}

void takeTrouble(Story& story, const LoggedEvent& seen) {
    using enum PortTrouble::Kind;
    if (seen.trouble == rtsMissing || seen.trouble == rtsUncertain) {
        story.noModemLines = true;
    } else if (seen.trouble == notTaking) {
        story.writesFailed = true;
    } else {
        story.failed = true;
        story.busy = seen.trouble == busy;
        story.trouble = seen.text;
    }
}

void takeReceived(Story& story, const std::string& bytes) {
    story.received += bytes;
    if (story.started()) story.afterJump += bytes;
    if (story.sent.find(versionRequest) != story.sent.npos) story.afterRequest += bytes;
}

Story tell(std::span<const LoggedEvent> all) {
    Story story;
    for (const LoggedEvent& seen : all) {
        if (story.attemptOver || story.version != 0) break;
        switch (seen.kind) {
            case LoggedEvent::Kind::log:
                takeLog(story, seen);
                break;
            case LoggedEvent::Kind::trouble:
                takeTrouble(story, seen);
                break;
            case LoggedEvent::Kind::open:
                story.opened = true;
                story.openAt = seen.at;
                break;
            case LoggedEvent::Kind::lost:
                story.lost = true;
                break;
            case LoggedEvent::Kind::transmit:
                story.sent += seen.text;
                break;
            case LoggedEvent::Kind::receive:
                takeReceived(story, seen.text);
                break;
            case LoggedEvent::Kind::closed:
            case LoggedEvent::Kind::rts:
                break;
        }
    }
    return story;
}

/// The driver looks at the third and fourth characters.
bool knownModel(std::string_view reply) { return reply.size() >= 4 && reply.substr(2, 2) == "V4"; }

/// A reply without line ends and prompt.
std::string modelText(std::string_view reply) {
    reply = reply.substr(0, reply.find(desk::prompt, 1));
    while (reply.starts_with('\r') || reply.starts_with('\n')) reply.remove_prefix(1);
    while (reply.ends_with('\r') || reply.ends_with('\n')) reply.remove_suffix(1);
    return '"' + common::plainText(reply) + '"';
}

/// The version in the last packet of "V" and three hexadecimal digits that came; the driver's where there is none.
int toldVersion(const Story& story) {
    constexpr std::size_t length = 1 + 3;
    const std::string_view text = story.afterRequest;
    int told = story.version;
    for (std::size_t at = text.find('V'); at != text.npos; at = text.find('V', at + 1)) {
        if (at + length >= text.size() || text[at + length] != ' ') continue;
        const std::string_view packet = text.substr(at, length);
        const char* const end = packet.data() + length;
        unsigned version = 0;
        if (std::from_chars(packet.data() + 1, end, version, 16).ptr == end) told = static_cast<int>(version);
    }
    return told;
}

std::string versionText(const Story& story) {
    const int told = toldVersion(story);
    const std::string taken = std::to_string(story.version);
    return "version " + (told == story.version ? taken : std::to_string(told) + ", which the driver takes for " + taken);
}

std::string hexText(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes.substr(0, shownBytes)) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned char>(byte));
        text.append(text.empty() ? "" : " ").append(digits.data());
    }
    return text + (bytes.size() > shownBytes ? " ..." : "");
}

std::string secondsText(std::chrono::microseconds time) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2f s", std::chrono::duration<double>(time).count());
    return text.data();
}

Check notOpen(std::string_view port, const Story& story) {
    const std::string name(port);
    if (story.busy) {
        return {CheckId::portHeld, Check::Result::fail, name + " is in use by another program",
                "end the program that uses it; \"sudo cvhost ports\" shows programs of other users too"};
    }
    return {CheckId::portOpen, Check::Result::fail,
            "cannot open " + name + (story.trouble.empty() ? "" : ": " + story.trouble),
            port.starts_with('/') ? "check the name; \"cvhost ports\" lists this machine's ports"
                                  : "check the name, and that whatever serves the port there is running"};
}

Check unknownModel(std::string_view said) {
    return {
        CheckId::modelUnknown, Check::Result::warn,
        "the monitor names a model that the driver does not know, " + modelText(said) + "; it takes it for the default one",
        "if keys or wheel misbehave, send this text to support with a --bundle"};
}

void judgeActive(const Story& story, std::vector<Check>& checks) {
    const std::string_view said = story.reply();
    std::string model = story.modelAsked() ? "model " + modelText(said) : "model not asked";
    if (!story.monitorSeen()) {
        checks.push_back({CheckId::programRunning, Check::Result::warn,
                          std::string("the console's program answers, but no boot monitor showed its prompt") +
                              (story.noModemLines ? "" : " after the reset"),
                          "check that the cable carries RTS if the console is ever to be reset through it"});
    } else if (story.modelAsked() && said.empty()) {
        model = "model not told";
        checks.push_back({CheckId::identificationNone, Check::Result::warn,
                          "the boot monitor showed its prompt, but did not say which model it is",
                          "the driver goes on with the default model; if it happens again, check the cable"});
    } else if (story.modelAsked() && !knownModel(said)) {
        checks.push_back(unknownModel(said));
    }
    checks.push_back({CheckId::consoleActive, Check::Result::pass,
                      "the console answered: " + model + ", " + versionText(story) + ", active after " +
                          secondsText(story.activeAt - story.openAt)});
    if (common::ignoresInput(story.version)) {
        checks.push_back({CheckId::versionOld, Check::Result::fail,
                          "version " + std::to_string(story.version) + " is too old: the driver ignores its keys and wheel",
                          "have the console's program updated to version 7 or later"});
    }
}

void judgeSilent(const std::string& port, const Story& story, std::vector<Check>& checks) {
    const auto fail = [&](CheckId id, std::string text, std::string next) {
        checks.push_back({id, Check::Result::fail, std::move(text), std::move(next)});
    };
    if (story.writesFailed) {
        fail(CheckId::writeFailed, port + " does not take the bytes that are sent",
             "unplug the adapter and plug it in again; see that nothing holds the line back (flow control, a paused "
             "terminal)");
    } else if (story.received.empty()) {
        fail(
            CheckId::lineSilent,
            "not one byte came from " + port + " after " + (story.noModemLines ? "" : "a reset and ") +
                "six requests for the version",
            "check that the console is switched on, that its cable is in at both ends and carries RTS, and that this is its "
            "port");
    } else if (!story.prompted()) {
        fail(CheckId::lineNoise,
             std::to_string(story.received.size()) + " bytes came, but no prompt among them: " + hexText(story.received),
             "see whether another device is on this port; a console's cable may be damaged, or its line not at 9600 baud");
    } else if (story.modelAsked() && story.reply().empty()) {
        fail(CheckId::identificationNone, "the boot monitor showed its prompt, but did not answer when asked what it is",
             "check the cable's line towards the console; switch the console off and on");
    } else {
        if (story.modelAsked() && !knownModel(story.reply())) checks.push_back(unknownModel(story.reply()));
        fail(CheckId::versionNone,
             std::string(story.startConfirmed() ? "the program was started"
                                                : "the monitor did not confirm the program's start") +
                 ", but told no version" +
                 (story.afterJump.empty() ? "" : "; after the start came " + hexText(story.afterJump)),
             "the console's program may be damaged: switch the console off and on; if it stays, send a --bundle to support");
    }
}

}  // namespace

Startup startupState(std::span<const LoggedEvent> seen) {
    const Story story = tell(seen);
    if (story.version != 0) return Startup::active;
    if (story.lost) return Startup::lost;
    if (story.attemptOver || story.writesFailed) return Startup::silent;
    return !story.opened && story.failed ? Startup::notOpen : Startup::underWay;
}

std::vector<Check> checkStartup(std::string_view port, std::span<const LoggedEvent> seen) {
    const Story story = tell(seen);
    std::vector<Check> checks;
    if (!story.opened) {
        checks.push_back(notOpen(port, story));
        return checks;
    }
    if (story.noModemLines) {
        checks.push_back(
            {CheckId::modemLines, Check::Result::warn,
             std::string(port) + " has no RTS line, so the console cannot be reset through it",
             "use a serial adapter and a cable with RTS; until then switch the console off and on to reset it"});
    }
    if (story.version != 0) {
        judgeActive(story, checks);
    } else if (story.lost) {
        checks.push_back(
            {CheckId::portLost, Check::Result::fail,
             std::string(port) + " was lost during start-up" + (story.trouble.empty() ? "" : ": " + story.trouble),
             "check the adapter and its cable; a port that goes again and again has a bad plug or too little power"});
    } else {
        judgeSilent(std::string(port), story, checks);
    }
    return checks;
}

}  // namespace cvhost::doctor
