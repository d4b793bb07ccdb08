// explore_maps: random sessions of maps by seed, on real threads.
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/explore/maps/MapSession.h"

namespace {

constexpr int usageError = 2;
constexpr std::uint64_t seedsUnlessTold = 1000;
constexpr std::uint64_t failureLimit = 10;

int usage() {
    std::fprintf(stderr,
                 "usage: explore --maps [--seeds N] [--seed S]\n"
                 "  --seeds N   how many sessions; 1000, or 1 with --seed\n"
                 "  --seed S    the first session's seed; 1\n");
    return usageError;
}

struct Request {
    explore_maps::Order order;
    std::uint64_t first = 1;
    std::uint64_t count = seedsUnlessTold;
    std::string options;  ///< those that a repetition needs
};

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<Request> parse(int count, char** arguments) {
    Request request;
    std::optional<std::uint64_t> seeds;
    std::optional<std::uint64_t> seed;
    for (int i = 1; i < count; i += 2) {
        if (i + 1 == count) return std::nullopt;
        const std::string_view name = arguments[i];
        const std::string_view value = arguments[i + 1];
        const auto amount = number(value);
        const auto canary = explore_maps::canaryFromText(value);
        if (name == "--seeds" && amount) {
            seeds = amount;
        } else if (name == "--seed" && amount) {
            seed = amount;
        } else if (name == "--canary" && canary) {
            request.order.canary = *canary;
            request.options += " --canary " + std::string(value);
        } else if (name == "--patience" && amount) {
            request.order.patience = std::chrono::seconds(*amount);
            request.options += " --patience " + std::string(value);
        } else {
            return std::nullopt;
        }
    }
    request.first = seed.value_or(1);
    request.count = seeds.value_or(seed ? 1 : seedsUnlessTold);
    return request;
}

class Foreman {
public:
    explicit Foreman(const Request& request) : m_request(request), m_next(request.first) {}

    bool run() {
        const unsigned workers = std::max(1U, std::thread::hardware_concurrency());
        m_running.resize(workers);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < workers; ++i) threads.emplace_back([this, i] { work(i); });
        waitForAll();
        for (std::thread& thread : threads) thread.join();
        tellEnd();
        return m_failed == 0;
    }

private:
    void work(unsigned worker) {
        const std::string file = (m_folder / std::to_string(worker)).string() + ".toml";
        while (const auto seed = begin(worker)) end(worker, *seed, explore_maps::runSession(*seed, m_request.order, file));
    }

    std::optional<std::uint64_t> begin(unsigned worker) {
        const std::lock_guard lock(m_mutex);
        if (m_next == m_request.first + m_request.count || m_failed >= failureLimit) return std::nullopt;
        return m_running.at(worker) = m_next++;
    }

    void end(unsigned worker, std::uint64_t seed, const std::string& problem) {
        const std::lock_guard lock(m_mutex);
        m_running.at(worker).reset();
        if (problem.empty()) {
            ++m_passed;
        } else {
            tellFailure(seed, problem);
        }
        m_news.notify_all();
    }

    /// Under m_mutex.
    void tellFailure(std::uint64_t seed, const std::string& problem) {
        ++m_failed;
        std::printf("seed %" PRIu64 ": %s\n  repeat: ./dev explore --maps --seed %" PRIu64 "%s\n", seed, problem.c_str(),
                    seed, m_request.options.c_str());
        std::fflush(stdout);
    }

    /// A session that does not end has the desk wait for its target. Nothing can end it but the end of the program.
    void waitForAll() {
        std::unique_lock lock(m_mutex);
        while (m_passed + m_failed != m_request.count && m_failed < failureLimit) {
            const auto before = m_passed + m_failed;
            m_news.wait_for(lock, 2 * m_request.order.patience, [&] { return m_passed + m_failed != before; });
            if (m_passed + m_failed != before) continue;
            for (const auto& seed : m_running) {
                if (seed) tellFailure(*seed, "the session does not end");
            }
            tellEnd();
            std::filesystem::remove_all(m_folder);
            std::_Exit(1);
        }
    }

    void tellEnd() const {
        std::printf("explore: %" PRIu64 " passed, %" PRIu64 " failed\n", m_passed, m_failed);
        std::fflush(stdout);
    }

    static std::filesystem::path makeFolder() {
        std::string name = std::filesystem::temp_directory_path() / "explore_maps.XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) std::abort();
        return name;
    }
    struct Folder {
        const std::filesystem::path path = makeFolder();
        Folder() = default;
        Folder(const Folder&) = delete;
        Folder& operator=(const Folder&) = delete;
        ~Folder() { std::filesystem::remove_all(path); }
    };

    const Request m_request;
    const Folder m_holder;
    const std::filesystem::path& m_folder = m_holder.path;
    std::mutex m_mutex;  ///< over the rest
    std::condition_variable m_news;
    std::uint64_t m_next;
    std::vector<std::optional<std::uint64_t>> m_running;  ///< by worker
    std::uint64_t m_passed = 0;
    std::uint64_t m_failed = 0;
};

}  // namespace

int main(int count, char** arguments) {
    const auto request = parse(count, arguments);
    if (!request) return usage();
    return Foreman(*request).run() ? 0 : 1;
}
