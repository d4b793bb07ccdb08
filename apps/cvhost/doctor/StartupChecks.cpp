#include "apps/cvhost/doctor/StartupChecks.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/Escape.h"
#include "host/linux/serial/Rfc2217.h"

namespace cvhost::doctor {
namespace {

using wire::FirstBytes;
using wire::StartupFacts;

/// Without RTS a monitor's prompt has long gone by, but it takes the request to start all the same.
bool monitorSeen(const StartupFacts& startup) { return startup.prompted || startup.startEchoed; }

bool hasNoModemLines(const StartupFacts& startup) { return startup.rtsMissing || startup.rtsUncertain; }

/// Why the port failed, to follow a sentence.
std::string reasonText(const StartupFacts& startup) {
    return startup.trouble && !startup.trouble->reason.empty() ? ": " + startup.trouble->reason : "";
}

/// A reply without line ends and prompt.
std::string modelText(std::string_view reply) {
    reply = reply.substr(0, reply.find(common::prompt, 1));
    while (reply.starts_with('\r') || reply.starts_with('\n')) reply.remove_prefix(1);
    while (reply.ends_with('\r') || reply.ends_with('\n')) reply.remove_suffix(1);
    return '"' + common::plainText(reply) + '"';
}

std::string versionText(const StartupFacts& startup) {
    const int taken = startup.version.value_or(0);
    const int told = startup.attempt.toldVersion.value_or(taken);
    return "version " + (told == taken ? std::to_string(taken)
                                       : std::to_string(told) + ", which the driver takes for " + std::to_string(taken));
}

std::string hexText(const FirstBytes& bytes) {
    std::string text;
    for (const char byte : bytes.first) {
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned char>(byte));
        text.append(text.empty() ? "" : " ").append(digits.data());
    }
    return text + (bytes.count > bytes.first.size() ? " ..." : "");
}

std::string secondsText(wire::Time time) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2f s", std::chrono::duration<double>(time).count());
    return text.data();
}

std::string openRemedy(std::string_view port, const StartupFacts& startup) {
    if (port.starts_with('/')) return "check the name; \"cvhost ports\" lists this machine's ports";
    if (startup.trouble && startup.trouble->error == ECONNRESET)
        return "end that client, or see on the server whether its serial port is there";
    return "check the name, and that whatever serves the port there is running";
}

Check settingsRefused(std::string_view port, const StartupFacts& startup) {
    return {CheckId::portOpen, Check::Result::fail,
            std::string(port) + " does not take 9600 baud, 8N1" + reasonText(startup),
            port.starts_with(rfc2217Prefix) ? "set its server to 9600 baud, 8N1" : "use another adapter"};
}

Check notOpen(std::string_view port, const StartupFacts& startup) {
    const std::string name(port);
    if (startup.trouble && startup.trouble->kind == PortTrouble::Kind::busy) {
        return {CheckId::portHeld, Check::Result::fail, name + " is in use by another program",
                "end the program that uses it; \"sudo cvhost ports\" shows programs of other users too"};
    }
    if (startup.refusesSettings()) return settingsRefused(port, startup);
    return {CheckId::portOpen, Check::Result::fail, "cannot open " + name + reasonText(startup), openRemedy(port, startup)};
}

Check unknownModel(std::string_view said) {
    return {
        CheckId::modelUnknown, Check::Result::warn,
        "the monitor names a model that the driver does not know, " + modelText(said) + "; it takes it for the default one",
        "if keys or wheel misbehave, send this text to support with a --bundle"};
}

void judgeActive(const StartupFacts& startup, std::vector<Check>& checks) {
    const std::string_view said = startup.attempt.modelReply;
    const bool asked = startup.attempt.modelAsked;
    std::string model = asked ? "model " + modelText(said) : "model not asked";
    if (!monitorSeen(startup)) {
        checks.push_back({CheckId::programRunning, Check::Result::warn,
                          std::string("the console's program answers, but no boot monitor showed its prompt") +
                              (hasNoModemLines(startup) ? "" : " after the reset"),
                          "check that the cable carries RTS if the console is ever to be reset through it"});
    } else if (asked && said.empty()) {
        model = "model not told";
        checks.push_back({CheckId::identificationNone, Check::Result::warn,
                          "the boot monitor showed its prompt, but did not say which model it is",
                          "the driver goes on with the default model; if it happens again, check the cable"});
    } else if (asked && !common::isKnownModel(said)) {
        checks.push_back(unknownModel(said));
    }
    checks.push_back({CheckId::consoleActive, Check::Result::pass,
                      "the console answered: " + model + ", " + versionText(startup) + ", active after " +
                          secondsText(startup.activeAt - startup.portChanged)});
    if (common::ignoresInput(*startup.version)) {
        checks.push_back(
            {CheckId::versionOld, Check::Result::fail,
             "version " + std::to_string(*startup.version) + " is too old: the driver ignores its keys and wheel",
             "have the console's program updated to version 7 or later"});
    }
}

void judgeSilent(const std::string& port, const StartupFacts& startup, std::vector<Check>& checks) {
    const StartupFacts::Attempt& attempt = startup.attempt;
    const auto fail = [&](CheckId id, std::string text, std::string next) {
        checks.push_back({id, Check::Result::fail, std::move(text), std::move(next)});
    };
    if (startup.notTaking) {
        fail(CheckId::writeFailed, port + " does not take the bytes that are sent",
             "unplug the adapter and plug it in again; see that nothing holds the line back (flow control, a paused "
             "terminal)");
    } else if (startup.received.count == 0) {
        fail(
            CheckId::lineSilent,
            "not one byte came from " + port + " after " + (hasNoModemLines(startup) ? "" : "a reset and ") +
                "six requests for the version",
            "check that the console is switched on, that its cable is in at both ends and carries RTS, and that this is its "
            "port");
    } else if (!startup.prompted) {
        fail(CheckId::lineNoise,
             std::to_string(startup.received.count) + " bytes came, but no prompt among them: " + hexText(startup.received),
             "see whether another device is on this port; a console's cable may be damaged, or its line not at 9600 baud");
    } else if (attempt.modelAsked && attempt.modelReply.empty()) {
        fail(CheckId::identificationNone, "the boot monitor showed its prompt, but did not answer when asked what it is",
             "check the cable's line towards the console; switch the console off and on");
    } else {
        if (attempt.modelAsked && !common::isKnownModel(attempt.modelReply))
            checks.push_back(unknownModel(attempt.modelReply));
        fail(CheckId::versionNone,
             std::string(attempt.startReply == "\r\n" ? "the program was started"
                                                      : "the monitor did not confirm the program's start") +
                 ", but told no version" +
                 (startup.afterStart.count == 0 ? "" : "; after the start came " + hexText(startup.afterStart)),
             "the console's program may be damaged: switch the console off and on; if it stays, send a --bundle to support");
    }
}

}  // namespace

std::vector<Check> checkStartup(std::string_view port, const StartupFacts& startup) {
    std::vector<Check> checks;
    if (!startup.portState) {
        checks.push_back(notOpen(port, startup));
        return checks;
    }
    if (hasNoModemLines(startup)) {
        checks.push_back(
            {CheckId::modemLines, Check::Result::warn,
             std::string(port) + " has no RTS line, so the console cannot be reset through it",
             "use a serial adapter and a cable with RTS; until then switch the console off and on to reset it"});
    }
    if (startup.active) {
        judgeActive(startup, checks);
    } else if (startup.isLost()) {
        checks.push_back(
            {CheckId::portLost, Check::Result::fail, std::string(port) + " was lost during start-up" + reasonText(startup),
             "check the adapter and its cable; a port that goes again and again has a bad plug or too little power"});
    } else if (startup.refusesSettings()) {
        checks.push_back(settingsRefused(port, startup));
    } else {
        judgeSilent(std::string(port), startup, checks);
    }
    return checks;
}

}  // namespace cvhost::doctor
