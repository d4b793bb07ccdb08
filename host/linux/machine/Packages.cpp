#include "host/linux/machine/Packages.h"

#include <array>
#include <cstdio>
#include <memory>

namespace cvhost {

namespace {

std::string answerOf(const char* command) {
    struct Close {
        void operator()(std::FILE* file) const noexcept { ::pclose(file); }
    };
    const std::unique_ptr<std::FILE, Close> answer(::popen(command, "re"));
    std::string text;
    std::array<char, 512> part{};
    while (answer && std::fgets(part.data(), part.size(), answer.get()) != nullptr) text += part.data();
    return text;
}

}  // namespace

std::string packageVersions() {
    // It complains of a name that no package has, and shows the others.
    constexpr const char* ask =
        "dpkg-query --show --showformat='${db:Status-Status} ${Package} ${Version}\\n' 'brltty*' 'corvane-*' 'cvhost*' "
        "libc6 "
        "'libcvhost*' 'libevdev2*' 'libsystemd0*' 'libudev1*' 'liblo7*' 'linux-image-*' 'modemmanager*' 'mpv*' 2>/dev/null "
        "| sed -n 's/^installed //p'";
    return answerOf(ask);
}

std::string journalEntries() {
    return answerOf("journalctl --user --identifier=cvhost --lines=5000 --no-pager --output=short-iso-precise 2>/dev/null");
}

}  // namespace cvhost
