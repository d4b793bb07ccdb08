#include "apps/cvhost/doctor/Bundle.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>

namespace cvhost::doctor {
namespace {

constexpr off_t largestFile = 1 << 20;

/// The end of an open regular file, `limit` bytes at most; nothing of anything else.
std::optional<std::string> endOf(int file, off_t limit) {
    struct stat status{};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    const off_t size = std::min(status.st_size, limit);
    std::string text(static_cast<std::size_t>(size), ' ');
    const ssize_t count = ::pread(file, text.data(), text.size(), status.st_size - size);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return text;
}

}  // namespace

void Bundle::Free::operator()(archive* object) const noexcept { ::archive_write_free(object); }

Bundle::Bundle(std::string path)
    : m_path(std::move(path)),
      m_file(::open(m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)),
      m_archive(::archive_write_new()) {
    if (m_file < 0) throw std::system_error(errno, std::generic_category(), "cannot make the bundle " + m_path);
    ::archive_write_add_filter_gzip(m_archive.get());
    ::archive_write_set_format_pax_restricted(m_archive.get());
    if (::archive_write_open_fd(m_archive.get(), m_file) != ARCHIVE_OK) m_problem = ::archive_error_string(m_archive.get());
}

Bundle::~Bundle() {
    m_archive.reset();
    if (m_file >= 0) ::close(m_file);
    if (m_file >= 0 && !m_finished) ::unlink(m_path.c_str());
}

void Bundle::add(std::string_view name, std::string_view text) {
    if (m_problem) return;
    struct FreeEntry {
        void operator()(archive_entry* entry) const noexcept { ::archive_entry_free(entry); }
    };
    const std::unique_ptr<archive_entry, FreeEntry> entry(::archive_entry_new());
    ::archive_entry_set_pathname(entry.get(), ("cvhost-doctor/" + std::string(name)).c_str());
    ::archive_entry_set_filetype(entry.get(), AE_IFREG);
    ::archive_entry_set_perm(entry.get(), 0600);
    ::archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
    ::archive_entry_set_size(entry.get(), static_cast<la_int64_t>(text.size()));
    const bool written =
        ::archive_write_header(m_archive.get(), entry.get()) == ARCHIVE_OK &&
        ::archive_write_data(m_archive.get(), text.data(), text.size()) == static_cast<la_ssize_t>(text.size());
    if (!written) m_problem = ::archive_error_string(m_archive.get());
}

void Bundle::addFile(std::string_view name, const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file < 0) return;
    if (const auto text = endOf(file, largestFile)) add(name, *text);
    ::close(file);
}

void Bundle::addOpen(std::string_view name, int file) {
    if (const auto text = endOf(file, std::numeric_limits<off_t>::max())) add(name, *text);
}

std::optional<std::string> Bundle::finish() {
    if (!m_problem && ::archive_write_close(m_archive.get()) != ARCHIVE_OK)
        m_problem = ::archive_error_string(m_archive.get());
    m_finished = !m_problem;
    return m_problem;
}

}  // namespace cvhost::doctor
