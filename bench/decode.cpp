// bench_decode: what a packet costs in the driver, and at the very least.
//
// Three loops over the same packets: the reference; the driver's decoder alone; and the receive callback, which takes each
// byte from a port whose bytes lie in memory. The host's handler table and key queue are the real ones, without a handler.
// The port is not: what the real one costs shows in the flood.
#include <benchmark/benchmark.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "bench/reference.h"
#include "host/core/KeyQueue.h"
#include "tests/support/ConsoleTestAccess.h"
#include "tests/support/NullHost.h"

namespace {

struct Kind {
    const char* name;
    std::vector<std::string> packets;
};

/// In the status packets the jog wheel turns, below what would switch it on; in the last kind the shuttle ring moves
/// besides, which is told to the host each time.
const std::vector<Kind>& kinds() {
    static const std::vector<Kind> all{
        {"key", {"E", "EU", "P", "PU"}},
        {"short_status", {"\\90000000", "\\90010271", "\\90020000", "\\90FF1388"}},
        {"long_status", {"\\00000009000", "\\00000009001", "\\00000009002", "\\000000090FF"}},
        {"shuttle_status", {"\\7F000000", "\\90000000", "\\C8000000", "\\6E000000"}},
        {"version", {"V007"}},
        {"garbage", {"#", "%1234567", "\x7f\x01", "xyzzy", "^^^^^^^^^^^"}},
    };
    return all;
}

Cv::Console& console() {
    static Cv::Console& only = []() -> Cv::Console& {
        static Cv::Console made;
        ConsoleTestAccess::port(made) = support::newPort();
        char version[] = "V007";
        made.corvane_console_parse_packet(version, 4);
        return made;
    }();
    return only;
}

/// `kind`'s packets, blanks after them, over and over, about 64 KiB of whole rounds.
struct Stream {
    explicit Stream(const Kind& kind) {
        while (text.size() < 64 * 1024) {
            for (const std::string& packet : kind.packets) text += packet + ' ';
            packets += kind.packets.size();
        }
    }
    std::string text;
    std::size_t packets = 0;
};

void perPacket(benchmark::State& state, std::size_t packets) {
    state.counters["packet"] = benchmark::Counter(static_cast<double>(packets) * static_cast<double>(state.iterations()),
                                                  benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

constexpr std::size_t perIteration = 4000;

/// The decoder may write to its text; it is given the same copies again, as the receive buffer would be.
struct Texts {
    explicit Texts(const Kind& kind) : copies(kind.packets) {
        for (std::string& copy : copies) {
            texts.push_back(copy.data());
            lengths.push_back(static_cast<int>(copy.size()));
        }
    }
    std::vector<std::string> copies;
    std::vector<char*> texts;
    std::vector<int> lengths;
};

void decodeAll(char* const* texts, const int* lengths, std::size_t kinds, std::size_t count) {
    Cv::Console& decoder = console();
    for (std::size_t i = 0, kind = 0; i < count; ++i) {
        decoder.corvane_console_parse_packet(texts[kind], lengths[kind]);
        if (++kind == kinds) kind = 0;
    }
}

void runReference(benchmark::State& state, const Kind& kind) {
    Texts texts(kind);
    bench::ReferenceState reference{};
    for (auto _ : state) {
        bench::referenceDecode(reference, texts.texts.data(), texts.lengths.data(), texts.texts.size(), perIteration);
        benchmark::DoNotOptimize(reference);
    }
    perPacket(state, perIteration);
}

void runDecoder(benchmark::State& state, const Kind& kind) {
    Texts texts(kind);
    for (auto _ : state) {
        decodeAll(texts.texts.data(), texts.lengths.data(), texts.texts.size(), perIteration);
        cvhost::keyQueue().clear();
    }
    perPacket(state, perIteration);
}

void runReferenceReceive(benchmark::State& state, const Kind& kind) {
    const Stream stream(kind);
    bench::ReferenceState reference{};
    for (auto _ : state) {
        bench::referenceReceive(reference, stream.text.data(), stream.text.size());
        benchmark::DoNotOptimize(reference);
    }
    perPacket(state, stream.packets);
}

/// Called once for each byte that arrives, as the serial library does.
void runReceive(benchmark::State& state, const Kind& kind) {
    const Stream stream(kind);
    Cv::Console& receiver = console();
    static support::NullHost s_host;
    for (auto _ : state) {
        for (std::size_t i = 0; i < stream.text.size(); ++i) {
            s_host.setLine(std::string_view(stream.text).substr(i, 1));
            Cv::Console::rx_interrupt_char(&receiver);
        }
        cvhost::keyQueue().clear();
    }
    perPacket(state, stream.packets);
}

/// Does a packet cost the same, however many have come before?
void runFlat(benchmark::State& state) {
    Texts texts(kinds()[1]);
    const auto count = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) decodeAll(texts.texts.data(), texts.lengths.data(), texts.texts.size(), count);
    perPacket(state, count);
}

}  // namespace

int main(int count, char** arguments) {
    for (const Kind& kind : kinds()) {
        const std::string name = kind.name;
        benchmark::RegisterBenchmark(("reference/" + name).c_str(), runReference, kind);
        benchmark::RegisterBenchmark(("decoder/" + name).c_str(), runDecoder, kind);
        benchmark::RegisterBenchmark(("reference_receive/" + name).c_str(), runReferenceReceive, kind);
        benchmark::RegisterBenchmark(("receive/" + name).c_str(), runReceive, kind);
    }
    benchmark::RegisterBenchmark("flat", runFlat)->RangeMultiplier(10)->Range(1, 10'000'000);
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
