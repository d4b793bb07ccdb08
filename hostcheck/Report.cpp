#include "hostcheck/Report.h"

#include <cerrno>
#include <cstdio>
#include <string_view>

#include "hostcheck/Options.h"

namespace hostcheck {
namespace {

const char* nameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::untried:
            return "untried";
        case Verdict::running:
            return "running";
        case Verdict::pass:
            return "pass";
        case Verdict::fail:
            return "fail";
        case Verdict::notTried:
            return "not tried";
    }
    return "";
}

/// `text` as it stands in a JSON text or in an XML attribute. What is no printable ASCII becomes a question mark.
void putEscaped(std::FILE* file, std::string_view text, bool xml) {
    for (const char letter : text) {
        if (letter < ' ' || letter > '~') {
            std::fputc('?', file);
        } else if (xml && std::string_view("&<>\"").find(letter) != std::string_view::npos) {
            std::fprintf(file, "&#%d;", letter);
        } else {
            if (!xml && (letter == '"' || letter == '\\')) std::fputc('\\', file);
            std::fputc(letter, file);
        }
    }
}

void writeJson(std::FILE* file, const Report& report) {
    std::fprintf(file, "{\"schema\": 1, \"level\": %d, \"seed\": %llu, \"results\": [", options().level,
                 static_cast<unsigned long long>(options().seed));
    for (std::size_t i = 0; i < report.tried; ++i) {
        const Promise& promise = promises[report.order[i]];
        const Outcome& outcome = report.outcomes[report.order[i]];
        std::fprintf(file, "%s\n{\"id\": \"%s\", \"level\": %d, \"result\": \"%s\", \"promised\": \"", i == 0 ? "" : ",",
                     promise.id, promise.level, nameOf(outcome.verdict));
        putEscaped(file, promise.text, false);
        std::fputs("\", \"seen\": \"", file);
        putEscaped(file, outcome.seen.c_str(), false);
        std::fputs("\"}", file);
    }
    std::fputs("\n]}\n", file);
}

void writeJunit(std::FILE* file, const Report& report) {
    const Count count = report.count();
    const int running = static_cast<int>(report.tried) - count.passed - count.failed - count.notTried;
    std::fprintf(file,
                 "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"CorvaneHostCheck\" tests=\"%zu\" "
                 "failures=\"%d\" errors=\"%d\" skipped=\"%d\">\n",
                 report.tried, count.failed, running, count.notTried);
    for (std::size_t i = 0; i < report.tried; ++i) {
        const Promise& promise = promises[report.order[i]];
        const Outcome& outcome = report.outcomes[report.order[i]];
        std::fprintf(file, "<testcase classname=\"level-%d\" name=\"%s\">", promise.level, promise.id);
        if (outcome.verdict != Verdict::pass) {
            std::fprintf(file, "<%s message=\"",
                         outcome.verdict == Verdict::fail       ? "failure"
                         : outcome.verdict == Verdict::notTried ? "skipped"
                                                                : "error");
            if (outcome.verdict == Verdict::running) std::fputs("the host ended, or stopped, in this check", file);
            putEscaped(file, outcome.seen.c_str(), true);
            if (outcome.verdict == Verdict::fail) {
                std::fputs("; promised: ", file);
                putEscaped(file, promise.text, true);
            }
            std::fputs("\"/>", file);
        }
        std::fputs("</testcase>\n", file);
    }
    std::fputs("</testsuite>\n", file);
}

/// Empties the file. Returns `error`.
int emptied(const char* path, int error) {
    if (std::FILE* const file = std::fopen(path, "w")) std::fclose(file);
    return error;
}

/// Returns 0, or the system's error number. After an error the file is empty, so that an older state cannot pass for this
/// one.
int writeWhole(const char* path, const Report& report, void (*write)(std::FILE*, const Report&)) {
    BasicText<4096> second;
    second.add("%s.new", path);
    std::FILE* const file = std::fopen(second.c_str(), "w");
    if (file == nullptr) return emptied(path, errno);
    write(file, report);
    int error = std::fflush(file) != 0 || std::ferror(file) != 0 ? errno : 0;
    if (std::fclose(file) != 0 && error == 0) error = errno;
    if (error == 0 && std::rename(second.c_str(), path) != 0) error = errno;
    return error == 0 ? 0 : emptied(path, error);
}

}  // namespace

Count Report::count() const {
    Count count;
    for (const Outcome& outcome : outcomes) {
        if (outcome.verdict == Verdict::pass) ++count.passed;
        if (outcome.verdict == Verdict::fail) ++count.failed;
        if (outcome.verdict == Verdict::notTried) ++count.notTried;
    }
    return count;
}

WriteFailure Report::write() const {
    WriteFailure failure;
    const auto save = [&](const char* path, void (*form)(std::FILE*, const Report&)) {
        const int error = path == nullptr ? 0 : writeWhole(path, *this, form);
        if (error != 0) failure = {path, error};
    };
    save(options().json, &writeJson);
    save(options().junit, &writeJunit);
    return failure;
}

}  // namespace hostcheck
