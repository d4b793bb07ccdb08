#include <cstdlib>
#include <cstring>

#include "host/api/Files.h"
#include "host/api/OS.h"
#include "hostcheck/Checks.h"
#include "hostcheck/Options.h"
#include "hostcheck/Platform.h"
#include "hostcheck/Text.h"

namespace hostcheck {
namespace {

using Path = BasicText<1024>;

Path temporary(const char* name) {
    const char* const folder = std::getenv("TMPDIR");
    Path path;
    path.add("%s/corvane-hostcheck-%llu-%s", folder == nullptr || *folder == '\0' ? "/tmp" : folder,
             static_cast<unsigned long long>(now().count()), name);
    return path;
}

/// A file with 300 bytes, and its content.
class TestFile {
public:
    explicit TestFile(const char* name) : m_path(temporary(name)) {
        for (std::size_t i = 0; i < sizeof bytes; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + options().seed);
        m_made = writeFile(m_path.c_str(), bytes, sizeof bytes);
    }
    TestFile(const TestFile&) = delete;
    TestFile& operator=(const TestFile&) = delete;
    ~TestFile() { removeFile(m_path.c_str()); }

    bool made() const { return m_made; }
    const char* path() const { return m_path.c_str(); }
    Cv::Ptr<iFile> open() const { return OS().files().open(Cv::WStringFromAscii(path()), iFileService::readOnly); }

    unsigned char bytes[300];

private:
    Path m_path;
    bool m_made = false;
};

Outcome folder() {
    const LightweightString<wchar_t> path = getAppPath();
    if (path.empty()) return fail("the path is empty");
    const wchar_t last = path.view().back();
    return last == L'/' || last == L'\\' ? pass() : fail("the last character is U+%04X", static_cast<unsigned>(last));
}

Outcome missing() {
    const Path path = temporary("missing");
    const Cv::Ptr<iFile> file = OS().files().open(Cv::WStringFromAscii(path.c_str()), iFileService::readOnly);
    return file ? fail("%.150s was opened", path.c_str()) : pass();
}

Outcome readWhole() {
    const TestFile made("read");
    if (!made.made()) return notTried("%.150s cannot be made", made.path());
    const Cv::Ptr<iFile> file = made.open();
    if (!file || !file->usable()) return fail("a file of 300 bytes cannot be opened");
    if (file->size() != sizeof made.bytes) return fail("its size is %u, not 300", file->size());
    unsigned char bytes[sizeof made.bytes] = {};
    if (file->read(bytes, 100) == 0 || file->read(bytes + 100, sizeof bytes - 100) == 0)
        return fail("reading 100 and then 200 bytes answers 0");
    return std::memcmp(bytes, made.bytes, sizeof bytes) == 0 ? pass() : fail("its bytes are others");
}

Outcome readBeyond() {
    const TestFile made("short");
    if (!made.made()) return notTried("%.150s cannot be made", made.path());
    const Cv::Ptr<iFile> file = made.open();
    if (!file) return notTried("a file of 300 bytes cannot be opened");
    unsigned char bytes[400] = {};
    return file->read(bytes, sizeof bytes) == 0 ? pass() : fail("reading 400 of 300 bytes succeeds");
}

Outcome isFound(const char* name) {
    const TestFile made(name);
    if (!made.made()) return notTried("the system takes no such name");
    return made.open() ? pass() : fail("the file cannot be opened");
}

Outcome utf8Name() { return isFound("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xAC"); }

Outcome byteName() { return isFound("caf\xE9"); }

constexpr Check checks[] = {
    {"files-folder", &folder},    {"files-missing", &missing}, {"files-read", &readWhole},
    {"files-short", &readBeyond}, {"names-utf8", &utf8Name},   {"names-bytes", &byteName},
};

}  // namespace

std::span<const Check> fileChecks() { return checks; }

}  // namespace hostcheck
