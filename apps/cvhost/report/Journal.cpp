#include "apps/cvhost/report/Journal.h"

#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace cvhost::report {
namespace {

constexpr const char* journalSocket = "/run/systemd/journal/socket";

}  // namespace

bool leadsToJournal(int descriptor) {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat file{};
    if (stream == nullptr || ::fstat(descriptor, &file) != 0) return false;
    return std::to_string(file.st_dev) + ':' + std::to_string(file.st_ino) == stream && ::access(journalSocket, W_OK) == 0;
}

void sendToJournal(JournalReport::Fields fields) {
    fields.emplace_back("SYSLOG_IDENTIFIER=cvhost");
    std::vector<iovec> parts;
    for (std::string& field : fields) parts.push_back({field.data(), field.size()});
    ::sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
}

}  // namespace cvhost::report
