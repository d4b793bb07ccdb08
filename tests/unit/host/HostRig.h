// What the tests of the host share: a sink that remembers, a folder that goes away, variables that come back.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/Events.h"
#include "host/core/KeyQueue.h"

/// Remembers the host's log texts and key presses while it lives.
class Recorder final {
public:
    Recorder() {
        cvhost::setEventSink([this](const cvhost::Event& event) { take(event); });
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder() { cvhost::setEventSink(nullptr); }

    std::vector<std::string> texts;
    std::vector<cvhost::KeyPress> keys;

private:
    void take(const cvhost::Event& event) {
        if (const auto* line = std::get_if<cvhost::LogLine>(&event)) texts.emplace_back(line->text);
        if (const auto* key = std::get_if<cvhost::KeyQueued>(&event)) keys.push_back({key->code, key->handled, key->flags});
    }
};

/// An empty folder of this test's own.
class Folder {
public:
    Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder();

    std::string path(std::string_view name = "") const { return name.empty() ? m_path.string() : (m_path / name).string(); }
    /// Writes a file, and the folders on the way to it.
    void write(std::string_view name, std::string_view text) const;
    /// The file's contents, nothing when there is no such file.
    std::optional<std::string> read(std::string_view name) const;

private:
    std::filesystem::path m_path;
};

/// An environment variable that has another value, or none, while this lives.
class Variable {
public:
    Variable(const char* name, const char* value);
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable();

private:
    const char* m_name;
    std::optional<std::string> m_before;
};
