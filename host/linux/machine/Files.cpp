#include "host/linux/machine/Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <limits>
#include <string>

#include "host/core/Text.h"

namespace cvhost {
namespace {

class File final : public iFile {
public:
    explicit File(int descriptor) : m_descriptor(descriptor) {}
    ~File() override { ::close(m_descriptor); }

    bool usable() override { return true; }
    std::uint32_t size() override {
        struct stat status{};
        if (::fstat(m_descriptor, &status) != 0 || status.st_size > std::numeric_limits<std::uint32_t>::max()) return 0;
        return static_cast<std::uint32_t>(status.st_size);
    }
    int read(void* buffer, std::uint32_t bytes) override {
        std::uint32_t done = 0;
        while (done < bytes) {
            const ssize_t count = ::pread(m_descriptor, static_cast<char*>(buffer) + done, bytes - done, m_position + done);
            if (count < 0 && errno == EINTR) continue;
            if (count <= 0) return 0;
            done += static_cast<std::uint32_t>(count);
        }
        m_position += done;
        return done > 0;
    }

private:
    const int m_descriptor;
    off_t m_position = 0;
};

}  // namespace

Cv::Ptr<iFile> FileService::open(const LightweightString<wchar_t>& path, unsigned flags) {
    const std::string name = narrow(path.view());
    struct stat status{};
    // Looked at before it is opened, for opening a device may do something.
    if (flags != readOnly || name.find('\0') != name.npos || ::stat(name.c_str(), &status) != 0) return nullptr;
    if (!S_ISREG(status.st_mode)) return nullptr;
    const int descriptor = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0) return nullptr;
    Cv::Ptr<iFile> file = new File(descriptor);
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
    return file;
}

}  // namespace cvhost

LightweightString<wchar_t> getAppPath() {
    std::array<char, PATH_MAX> buffer;
    const ssize_t length = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
    const std::string_view program(buffer.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    const std::size_t slash = program.rfind('/');
    return cvhost::widen(slash == program.npos ? "/" : program.substr(0, slash + 1));
}
