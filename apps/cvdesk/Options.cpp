#include "apps/cvdesk/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <optional>
#include <span>
#include <string_view>

#include "apps/common/ConsoleFacts.h"
#include "apps/common/OptionValues.h"
#include "apps/common/UsageProblem.h"
#include "apps/cvdesk/ExitStatus.h"

namespace cvdesk {
namespace {

constexpr const char* footer =
    "A script has one command a line; blank lines and lines that begin with # are skipped:\n"
    "  wait active              until a host has started the program and asked its version; its own start may go on\n"
    "  sleep 50ms               or sleep 2s\n"
    "  press E                  a key goes down; release E: it comes up; tap E: both\n"
    "  shuttle 200              turn the shuttle ring, 0 to 255; 127 is its centre\n"
    "  jog -3 [5000]            turn the jog wheel by -128 to 127 counts and ten-thousandths of a count\n"
    "  raw TEXT                 send bytes; \\xNN is any byte, \\\\ a backslash, \\x20 a blank at either end\n"
    "  power-cycle              off and on again\n"
    "  expect lamp 2 F          lamp 1 to 46 is O (off), F (on), H or B; waits up to 2 s for it\n"
    "  expect wheel off         or on; waits likewise\n"
    "  quit                     end, once all is sent; without it the desk stays after the script's end\n"
    "\n"
    "A pseudo-terminal has no RTS, so no host can reset a desk there: it waits in its monitor until its program is "
    "started.\n"
    "--usb needs root and the kernel modules vhci-hcd and ftdi_sio; a real serial port appears, /dev/ttyUSB0 or the next\n"
    "that is free. Ending cvdesk pulls its plug.\n"
    "\n"
    "A replay keeps step with the host: what the console did after so many bytes of the host's, it does again after as\n"
    "many, and as much later. It tells what the host does otherwise.\n"
    "\n"
    "Exit status: 0 ended by quit, Ctrl-C or another signal, or a replay went as recorded; 1 an expectation was not met, or "
    "a\n"
    "replay went otherwise; 2 the command line, the script or the recording is wrong; 3 the line could not be set up.\n"
    "NO_COLOR, when set, keeps colour out of the text.\n"
    "\n"
    "Examples:\n"
    "  cvdesk --rfc2217 0                       a desk on a free port of this machine, which is then told\n"
    "  cvdesk --pty /tmp/desk --firmware 8      a desk that a host opens like a serial port\n"
    "  sudo cvdesk --usb                        a desk on a USB serial port, for any program of this machine";

template <class Number>
bool whole(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc{} && end == text.data() + text.size();
}

std::optional<NetworkAddress> networkAddress(const std::string& text) {
    NetworkAddress result;
    const std::size_t colon = text.rfind(':');
    if (colon != std::string::npos) {
        result.address = text.substr(0, colon);
        if (result.address.size() > 2 && result.address.front() == '[' && result.address.back() == ']')
            result.address = result.address.substr(1, result.address.size() - 2);
    }
    if (result.address.empty() || !whole(std::string_view(text).substr(colon + 1), result.port)) return std::nullopt;
    return result;
}

/// As a USB text descriptor holds it: 255 bytes, of which two are its head and two each character.
std::string whyNoProduct(const std::string& text) {
    constexpr std::size_t longest = (255 - 2) / 2;
    const bool printable = std::ranges::all_of(text, [](char letter) { return letter >= ' ' && letter <= '~'; });
    const bool fits = !text.empty() && text.size() <= longest && printable;
    return fits ? "" : "the text is not 1 to 126 printable ASCII characters";
}

std::string whyNoName(const std::string& text) { return text.empty() ? "the name is empty" : ""; }

std::string whyNoVersion(const std::string& text) {
    int version = 0;
    return whole(std::string_view(text), version) && version >= 0 && version <= 0xFFF
               ? ""
               : '"' + text + "\" is not a version from 0 to 4095";
}

/// Says what is wrong in one sentence; help and version, which are no errors, go to standard output.
int answer(const CLI::App& app, const CLI::ParseError& error, std::span<const char* const> arguments) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
    std::cerr << "cvdesk: " << common::usageProblem(app, error, arguments) << "; \"cvdesk --help\" shows what it takes.\n";
    return exitStatus::usage;
}

}  // namespace

std::variant<Options, int> parseCommandLine(int argc, const char* const* argv) {
    Options options;
    NetworkAddress network;
    std::string link;
    UsbAdapter adapter;
    CLI::App app("cvdesk is a simulated edit console: a desk with keys, lamps and a jog/shuttle wheel.", "cvdesk");
    app.set_version_flag("--version", "cvdesk " CVDESK_VERSION);
    app.footer(footer);
    const CLI::Option* toNetwork = common::addParsed(app, "--rfc2217", network, networkAddress,
                                                     "a port from 0 to 65535, with or without ADDR: before it",
                                                     "Serve a network serial port (RFC 2217); port 0 picks a free one")
                                       ->type_name("[ADDR:]PORT");
    const CLI::Option* toPty = app.add_option("--pty", link, "Serve a pseudo-terminal; LINK becomes a symbolic link to it")
                                   ->check(whyNoName)
                                   ->type_name("LINK");
    bool usb = false;
    CLI::Option* toUsb = app.add_flag("--usb", usb, "Be a USB serial adapter of this machine's kernel");
    app.add_option("--usb-product", adapter.product, "Product text of the adapter (default \"USB Serial Port\")")
        ->check(whyNoProduct)
        ->type_name("TEXT")
        ->needs(toUsb);
    app.add_option("--firmware", options.desk.firmware, "Version that the program answers, 0 to 4095 (default 7)")
        ->type_name("N")
        ->check(whyNoVersion);
    const auto setModel = [&options](const std::string& text) { options.desk.model = *common::modelOf(text); };
    common::takesOneOf(
        *app.add_option_function<std::string>("--model", setModel, "Model that the monitor names (default V4)"),
        {common::modelNames.begin(), common::modelNames.end()});
    CLI::Option* script =
        app.add_option("--script", options.scriptFile, "Play this script; see below")->check(whyNoName)->type_name("FILE");
    app.add_option("--replay", options.replayFile, "Be the console of this recording of cvhost's, and end with it")
        ->check(whyNoName)
        ->type_name("FILE")
        ->excludes(script);
    CLI::Option* check =
        app.add_flag("--check", options.check, "Be the far end of a line whose host is being checked, not a desk")
            ->excludes(script);
    app.get_option("--replay")->excludes(check);
    app.add_flag("--unpaced", options.desk.unpaced, "Let bytes take no time on the line, instead of 9600 baud");
    app.add_flag("--silent", options.desk.silent, "Hear everything, never send a byte");
    app.add_flag("--no-monitor", options.desk.noMonitor, "Boot straight into the program");
    app.add_flag("--running", options.desk.running, "Have the program running already; a reset still leads to the monitor");

    try {
        app.parse(argc, argv);
        if (toNetwork->count() + toPty->count() + toUsb->count() != 1)
            throw CLI::ValidationError("say where to put the desk: one of --rfc2217 PORT, --pty LINK and --usb");
        if (usb)
            options.line = adapter;
        else if (!toPty->empty())
            options.line = link;
        else
            options.line = network;
    } catch (const CLI::ParseError& error) {
        return answer(app, error, {argv, static_cast<std::size_t>(argc)});
    }
    return options;
}

}  // namespace cvdesk
