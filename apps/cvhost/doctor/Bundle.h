// One archive with all that support needs.
//
// Threads: one at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct archive;

namespace cvhost::doctor {

/// A new gzipped tar archive that its owner alone may read. Nothing that stands at its path is overwritten and no link is
/// followed.
class Bundle {
public:
    /// Throws std::system_error when the file cannot be made.
    explicit Bundle(std::string path);
    Bundle(const Bundle&) = delete;
    Bundle& operator=(const Bundle&) = delete;
    /// Removes a file that was not finished.
    ~Bundle();

    /// Adds a file. What goes wrong shows in finish().
    void add(std::string_view name, std::string_view text);
    /// Adds what stands at `path`, its last mebibyte at most. What is no regular file, links among them, is left out.
    void addFile(std::string_view name, const std::string& path);
    /// Adds the whole of an open file.
    void addOpen(std::string_view name, int file);
    /// Completes the archive, or returns why that failed, as half a sentence.
    std::optional<std::string> finish();

private:
    struct Free {
        void operator()(archive* object) const noexcept;
    };

    const std::string m_path;
    int m_file = -1;
    std::unique_ptr<archive, Free> m_archive;
    std::optional<std::string> m_problem;
    bool m_finished = false;
};

}  // namespace cvhost::doctor
