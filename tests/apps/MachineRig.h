// What the tests of cvhost doctor and cvhost ports share: settings, a desk on a pseudo-terminal, and a made-up machine.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/apps/CvhostRig.h"

namespace apps_test {

class MachineTest : public CvhostTest {
protected:
    /// cvhost with these arguments, the subcommand first.
    Process::Setup command(const Arguments& arguments) const {
        Process::Setup setup = cvhost({});
        setup.command.back() = arguments.front();
        setup.command.insert(setup.command.end(), arguments.begin() + 1, arguments.end());
        return setup;
    }
    /// A program in a made-up machine whose /dev/ttyUSB0 leads to `device`. Empty: it leads nowhere.
    Process::Setup inMachine(Process::Setup setup, const std::string& device) const {
        std::string start = "rm -f $UMOCKDEV_DIR/dev/ttyUSB0; ";
        if (!device.empty()) start += "ln -s '" + device + "' $UMOCKDEV_DIR/dev/ttyUSB0; ";
        const std::vector<std::string> head{"/usr/bin/umockdev-run", "-d", FIELD_MACHINE, "--", "/bin/sh", "-c",
                                            start + "exec \"$@\"",   "sh"};
        setup.command.insert(setup.command.begin(), head.begin(), head.end());
        setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
        return setup;
    }
    static std::string output(Process& process) {
        std::string text;
        for (const std::string& line : process.lines()) text += line + '\n';
        return text;
    }
    void writeSettings(const std::string& file) const {
        std::filesystem::create_directories(m_folder.path() / "config/cvhost");
        m_folder.write("config/cvhost/cvhost.toml", file);
    }
    std::string deskLink() const { return m_folder.path() / "desk"; }
    /// cvdesk on a pseudo-terminal at deskLink().
    Process::Setup ptyDesk(const Arguments& options = {}) const {
        Arguments arguments{"--pty", deskLink()};
        arguments.insert(arguments.end(), options.begin(), options.end());
        return cvdesk(arguments);
    }
    std::string device() const { return std::filesystem::read_symlink(deskLink()); }
};

}  // namespace apps_test
