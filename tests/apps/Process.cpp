#include "tests/apps/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace apps_test {
namespace {

constexpr std::chrono::minutes limit(1);

int checked(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        if (!changes.contains(std::string(text.substr(0, text.find('='))))) result.emplace_back(text);
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) result.push_back(name + "=" + value);
    }
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

pid_t spawn(const Process::Setup& setup, int output, int errors) {
    std::vector<std::string> command = setup.command;
    std::vector<std::string> environment = environmentWith(setup.environment);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, errors, STDERR_FILENO);
    pid_t pid = -1;
    const int error = ::posix_spawn(&pid, command.front().c_str(), &files, nullptr, pointers(command).data(),
                                    pointers(environment).data());
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) throw std::system_error(error, std::generic_category(), "start " + command.front());
    return pid;
}

/// The definition in cvhost's schema of what the command prints; empty if it prints no JSON.
std::string_view definitionOf(const std::vector<std::string>& command) {
    const auto has = [&](std::string_view word) { return std::ranges::find(command, word) != command.end(); };
    const auto events = std::ranges::find(command, "--events");
    if (events != command.end() && events + 1 != command.end() && events[1] == "json") return "event";
    if (!has("--json")) return {};
    return has("ports") ? "ports" : has("doctor") ? "doctor" : "";
}

/// Leaves the JSON that the program has printed to tools/test/run_tests, which validates it.
void leaveJson(const std::vector<std::string>& command, const std::vector<std::string>& lines, bool whole) {
    const char* file = std::getenv("TEST_JSON");
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    const std::string_view definition = definitionOf(command);
    if (file == nullptr || test == nullptr || definition.empty() || lines.empty()) return;
    std::string text;
    const auto add = [&](std::string_view what, const std::string& json) {
        text.append(test->test_suite_name()).append(".").append(test->name()).append("\t").append(what);
        text.append("\t").append(json).append("\n");
    };
    if (definition == "event") {
        add("events/start", lines.front());
        for (const std::string& line : lines) add(definition, line);
    } else if (whole) {
        std::string json;
        for (const std::string& line : lines) json += line;
        add(definition, json);
    }
    std::ofstream(file, std::ios::app) << text << std::flush;
}

}  // namespace

std::mutex& Process::starting() {
    static std::mutex mutex;
    return mutex;
}

Process::Process(const Setup& setup) : m_command(setup.command), m_outputWanted(setup.readOutput) {
    std::array<int, 2> output{};
    std::array<int, 2> errors{};
    checked(::pipe2(output.data(), O_CLOEXEC), "pipe");
    checked(::pipe2(errors.data(), O_CLOEXEC), "pipe");
    if (!setup.readOutput) checked(::fcntl(output[0], F_SETPIPE_SZ, 4096), "F_SETPIPE_SZ");
    m_wake = checked(::eventfd(0, EFD_CLOEXEC), "eventfd");
    {
        const std::lock_guard lock(starting());
        m_pid = spawn(setup, output[1], errors[1]);
    }
    ::close(output[1]);
    ::close(errors[1]);
    m_output = output[0];
    m_errors = errors[0];
    m_reader = std::thread([this] { read(); });
}

Process::~Process() {
    if (!m_ended) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    const std::uint64_t one = 1;
    if (::write(m_wake, &one, sizeof one) == sizeof one && m_reader.joinable()) m_reader.join();
    for (const int fd : {m_output, m_errors, m_wake}) {
        if (fd >= 0) ::close(fd);
    }
    leaveJson(m_command, m_lines, m_ended && WIFEXITED(m_status));
}

void Process::read() {
    std::array<char, 4096> text{};
    for (;;) {
        std::unique_lock lock(m_mutex);
        if (m_outputEnded && m_output >= 0) {
            ::close(std::exchange(m_output, -1));
            m_changed.notify_all();
        }
        std::array<pollfd, 3> waited{pollfd{m_wake, POLLIN, 0}, pollfd{m_errors, POLLIN, 0},
                                     pollfd{m_outputWanted ? m_output : -1, POLLIN, 0}};
        if (m_stopping || (m_errors < 0 && m_outputEnded)) return;
        lock.unlock();
        if (::poll(waited.data(), waited.size(), -1) < 0) continue;
        lock.lock();
        if (waited[0].revents != 0) {
            std::uint64_t count = 0;
            if (::read(m_wake, &count, sizeof count) < 0) return;
        }
        if (waited[1].revents != 0) {
            const ssize_t size = ::read(m_errors, text.data(), text.size());
            if (size > 0) {
                m_errorText.append(text.data(), static_cast<std::size_t>(size));
            } else {
                ::close(m_errors);
                m_errors = -1;
            }
        }
        if (waited[2].revents != 0 && m_outputWanted) {
            const ssize_t size = ::read(m_output, text.data(), text.size());
            if (size > 0) takeOutput(text.data(), static_cast<std::size_t>(size));
            if (size <= 0) {
                m_outputWanted = false;
                m_outputEnded = true;
            }
        }
        m_changed.notify_all();
    }
}

void Process::takeOutput(const char* text, std::size_t size) {
    m_partial.append(text, size);
    std::size_t end = 0;
    while ((end = m_partial.find('\n')) != m_partial.npos) {
        m_lines.push_back(m_partial.substr(0, end));
        m_partial.erase(0, end + 1);
    }
}

std::string Process::waitForLine(const std::function<bool(const std::string&)>& wanted) {
    std::unique_lock lock(m_mutex);
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (std::size_t next = 0;;) {
        while (next < m_lines.size()) {
            if (wanted(m_lines[next++])) return m_lines[next - 1];
        }
        if (m_outputEnded || m_changed.wait_until(lock, deadline) == std::cv_status::timeout) {
            lock.unlock();
            giveUp("a line");
        }
    }
}

void Process::signal(int number) const { checked(::kill(m_pid, number), "kill"); }

void Process::closeOutput() {
    std::unique_lock lock(m_mutex);
    m_outputWanted = false;
    m_outputEnded = true;
    const std::uint64_t one = 1;
    checked(::write(m_wake, &one, sizeof one) == sizeof one ? 0 : -1, "write");
    // Closed while the reader polls it, the pipe would live on until the poll returns.
    m_changed.wait(lock, [this] { return m_output < 0; });
}

int Process::wait() {
    const int process = checked(static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0)), "pidfd_open");
    pollfd ended{process, POLLIN, 0};
    const int count = ::poll(&ended, 1, static_cast<int>(std::chrono::milliseconds(limit).count()));
    ::close(process);
    if (count != 1) giveUp("the end");
    checked(::waitpid(m_pid, &m_status, 0), "waitpid");
    m_ended = true;
    {
        const std::lock_guard lock(m_mutex);
        if (!m_outputWanted) m_outputEnded = true;
    }
    const std::uint64_t one = 1;
    checked(::write(m_wake, &one, sizeof one) == sizeof one ? 0 : -1, "write");
    m_reader.join();
    return WIFSIGNALED(m_status) ? 128 + WTERMSIG(m_status) : WEXITSTATUS(m_status);
}

bool Process::outputEnded() {
    const std::lock_guard lock(m_mutex);
    return m_outputEnded;
}

std::vector<std::string> Process::lines() {
    const std::lock_guard lock(m_mutex);
    return m_lines;
}

std::string Process::errors() {
    const std::lock_guard lock(m_mutex);
    return m_errorText;
}

void Process::giveUp(const std::string& waitingFor) {
    std::string text = "gave up waiting for " + waitingFor + "; standard output:\n";
    for (const std::string& line : lines()) text += line + '\n';
    throw std::runtime_error(text + "standard error:\n" + errors());
}

}  // namespace apps_test
