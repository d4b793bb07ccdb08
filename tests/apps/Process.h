// A program under test: started with its output in pipes, read line by line, signalled, and waited for. Every line of JSON
// that cvhost prints is validated against its schema after the tests.
//
// Threads: one test thread; a thread of the object's own reads the pipes. Nothing waits longer than a generous limit: then
// it throws, with all that the program has said.
#pragma once

#include <sys/types.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace apps_test {

class Process {
public:
    struct Setup {
        /// The program's path and its arguments.
        std::vector<std::string> command;
        /// Over this process's environment; an empty value removes the variable.
        std::map<std::string, std::string> environment{};
        /// False: nobody reads standard output, and its pipe holds as little as the system allows.
        bool readOutput = true;
    };

    /// Held while a program starts. Until then the new process has copies of all descriptors of this one, so what another
    /// thread closes meanwhile stays open: hold it to close a socket and to listen on its port again.
    static std::mutex& starting();

    explicit Process(const Setup& setup);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /// Kills the program if it still runs.
    ~Process();

    /// The first line on standard output, from the very first one on, that is `wanted`.
    std::string waitForLine(const std::function<bool(const std::string& line)>& wanted);
    void signal(int number) const;
    pid_t id() const { return m_pid; }
    /// Closes the pipe of standard output at this end.
    void closeOutput();
    /// Waits for the end. The exit status; for a program that a signal ended, 128 and the signal's number.
    int wait();

    /// The program has closed its standard output, as it does by ending.
    bool outputEnded();
    /// All lines on standard output so far. After wait(): all there are.
    std::vector<std::string> lines();
    /// All of standard error so far.
    std::string errors();

private:
    void read();
    void takeOutput(const char* text, std::size_t size);
    [[noreturn]] void giveUp(const std::string& waitingFor);

    const std::vector<std::string> m_command;
    pid_t m_pid = -1;
    int m_status = -1;
    bool m_ended = false;
    int m_wake = -1;
    int m_output = -1;
    int m_errors = -1;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_outputWanted = true;
    bool m_stopping = false;
    bool m_outputEnded = false;
    std::string m_partial;
    std::vector<std::string> m_lines;
    std::string m_errorText;

    std::thread m_reader;
};

}  // namespace apps_test
