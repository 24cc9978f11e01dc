// What stays in the process: log lines, slicing, INI text, SHA-1, a definition.

#include "Ratios.h"

#include "fus/P_Config.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"
#include "fus/P_SHA.h"
#include "fus/P_TimeSlicer.h"

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>

namespace fus::bench {

namespace {

// --- log -----------------------------------------------------------------------------------------

std::atomic<int> g_level{400};
std::atomic<unsigned> g_sinks{2};

void twoCompares(benchmark::State& state) {
    int lines = 0;
    for (auto _ : state) {
        if (g_level.load(std::memory_order_relaxed) <= 100 &&
            g_sinks.load(std::memory_order_relaxed) != 0) {
            ++lines;
        }
        benchmark::DoNotOptimize(lines);
    }
}

void disabledLine(benchmark::State& state) {
    int lines = 0;
    for (auto _ : state) {
        FUS_LOG(DEBUG, "line %d", lines);
        benchmark::DoNotOptimize(lines);
    }
}

constexpr const char* LOG_FILE = "fus-benchmarks.log.tmp";

void bareWrite(benchmark::State& state) {
    const std::string line(110, 'x');
    std::FILE* const file = std::fopen(LOG_FILE, "wb");
    std::setvbuf(file, nullptr, _IONBF, 0); // every write is a system call
    for (auto _ : state) {
        std::fwrite(line.data(), 1, line.size(), file);
    }
    std::fclose(file);
    std::remove(LOG_FILE);
}

void lineToAFile(benchmark::State& state) {
    Log& log = Log::getInstance();
    log.enableStderr(false);
    log.setFile(LOG_FILE, false);
    unsigned id = 0;
    for (auto _ : state) {
        FUS_LOG(ERROR, "    Reader: receive message (%s(0x%X), id=%u, size=%u) and more",
                "ANSWER_OK", 1301U, ++id % 10, 10U);
    }
    log.closeFile();
    log.enableStderr(true);
    std::remove(LOG_FILE);
}

// --- slicing -------------------------------------------------------------------------------------

/// A shot of 60 seconds in slices of a millisecond.
void slicing(benchmark::State& state) {
    TimeSlicer slicer;
    slicer.setLimits(100, 1000, 50, 400);
    unsigned pairs = 0;
    for (auto _ : state) {
        pairs = 0;
        for (auto cut = slicer.slice(60000000, 500); !cut.exhausted(); cut.next()) {
            benchmark::DoNotOptimize(cut.sliceDuration + cut.sliceDelay);
            ++pairs;
        }
    }
    state.SetItemsProcessed(state.iterations() * pairs);
}

// --- INI text ------------------------------------------------------------------------------------

std::string iniText() {
    std::string text;
    for (unsigned section = 0; text.size() < 1000000; ++section) {
        text += "[Section" + std::to_string(section) + "]\n";
        for (unsigned key = 0; key < 20; ++key) {
            text += "some_key_" + std::to_string(key) + " = 1.25|2.5|" + std::to_string(key) + "\n";
        }
    }
    return text;
}

void findLineEnds(benchmark::State& state) {
    const std::string text = iniText();
    for (auto _ : state) {
        unsigned lines = 0;
        const char* at = text.data();
        const char* const end = at + text.size();
        while (const void* found = std::memchr(at, '\n', static_cast<std::size_t>(end - at))) {
            at = static_cast<const char*>(found) + 1;
            ++lines;
        }
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void parseIni(benchmark::State& state) {
    const std::string text = iniText();
    for (auto _ : state) {
        std::istringstream stream(text);
        Config config;
        config.read(stream);
        benchmark::DoNotOptimize(&config);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

// --- SHA-1 ---------------------------------------------------------------------------------------

std::uint32_t rotateLeft(std::uint32_t word, unsigned bits) {
    return (word << bits) | (word >> (32 - bits));
}

/// As the standard writes it, with the schedule of 16 words.
void plainBlock(std::uint32_t* chain, const unsigned char* block) {
    std::uint32_t w[16];
    for (unsigned i = 0; i < 16; ++i, block += 4) {
        w[i] = std::uint32_t{block[0]} << 24U | std::uint32_t{block[1]} << 16U |
               std::uint32_t{block[2]} << 8U | block[3];
    }
    std::uint32_t a = chain[0], b = chain[1], c = chain[2], d = chain[3], e = chain[4];
    const auto rounds = [&](unsigned first, std::uint32_t constant, auto mix) {
        for (unsigned t = first; t < first + 20; ++t) {
            if (t >= 16) {
                w[t % 16] =
                    rotateLeft(w[(t - 3) % 16] ^ w[(t - 8) % 16] ^ w[(t - 14) % 16] ^ w[t % 16], 1);
            }
            const std::uint32_t next = rotateLeft(a, 5) + mix(b, c, d) + e + constant + w[t % 16];
            e = d;
            d = c;
            c = rotateLeft(b, 30);
            b = a;
            a = next;
        }
    };
    const auto choice = [](auto x, auto y, auto z) { return z ^ (x & (y ^ z)); };
    const auto parity = [](auto x, auto y, auto z) { return x ^ y ^ z; };
    const auto majority = [](auto x, auto y, auto z) { return (x & y) | (z & (x | y)); };
    rounds(0, 0x5A827999, choice);
    rounds(20, 0x6ED9EBA1, parity);
    rounds(40, 0x8F1BBCDC, majority);
    rounds(60, 0xCA62C1D6, parity);
    chain[0] += a;
    chain[1] += b;
    chain[2] += c;
    chain[3] += d;
    chain[4] += e;
}

constexpr std::size_t MEGABYTE = 1U << 20U;

void plainSHA1(benchmark::State& state) {
    const std::string message(MEGABYTE, 'x');
    std::uint32_t first = 0;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(message.data());
    for (auto _ : state) {
        std::uint32_t chain[] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
        for (std::size_t at = 0; at < MEGABYTE; at += 64) {
            plainBlock(chain, bytes + at);
        }
        // The padding of a message of whole blocks.
        std::array<unsigned char, 64> last{0x80};
        last[61] = (MEGABYTE * 8 >> 16U) & 0xFFU;
        last[60] = (MEGABYTE * 8 >> 24U) & 0xFFU;
        plainBlock(chain, last.data());
        benchmark::DoNotOptimize(chain);
        first = chain[0];
    }
    if (first != 0xE37F4D5B) {
        state.SkipWithError("a bad digest");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(MEGABYTE));
}

void librarySHA1(benchmark::State& state) {
    const std::string message(MEGABYTE, 'x');
    for (auto _ : state) {
        SHA1 sha;
        sha.init();
        sha.addData(message.data(), message.size());
        sha.close();
        benchmark::DoNotOptimize(sha.digest());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(MEGABYTE));
}

// --- a definition --------------------------------------------------------------------------------

/// As an installer writes one, with every section.
constexpr char DEFINITION[] = R"([config]
ip = 192.168.1.20
port = 1670
channels = 256
generatorCount = 16
amplifierCount = 16
minVoltages = 4.75|11.4|22.8|26.6|26.6
maxVoltages = 5.25|12.6|25.2|29.4|29.4
clock = 24
[thresholds]
minAMP = -10|0
maxAMP = 65|12.5
[amplifier]
version = 2.1.0.0
type = 2
measures = 4
maxPower = 3.5
[coeffs0]
c0 = 2.1e-5|0.1163|0.31
c1 = -1.2e-6|0.0201|0.014
c2 = 0.0123|-1.57
c3 = 0.0246|-3.14
VADCThreshold = 8
IADCThreshold = 8
)";

void loadDefinition(benchmark::State& state) {
    GeneratorDefinition definition;
    for (auto _ : state) {
        if (!definition.loadText(DEFINITION)) {
            state.SkipWithError("a bad definition");
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(sizeof DEFINITION - 1));
}

} // namespace

BENCHMARK(twoCompares);
BENCHMARK(disabledLine);
FUS_AT_MOST(disabledLine, twoCompares, 2.0);

BENCHMARK(bareWrite);
BENCHMARK(lineToAFile);
FUS_AT_MOST(lineToAFile, bareWrite, 1.5);

BENCHMARK(slicing);

BENCHMARK(findLineEnds)->Unit(benchmark::kMicrosecond);
BENCHMARK(parseIni)->Unit(benchmark::kMicrosecond);
FUS_AT_LEAST(parseIni, findLineEnds, 0.04);

BENCHMARK(plainSHA1)->Unit(benchmark::kMicrosecond);
BENCHMARK(librarySHA1)->Unit(benchmark::kMicrosecond);
FUS_AT_LEAST(librarySHA1, plainSHA1, 0.9);

BENCHMARK(loadDefinition)->Unit(benchmark::kMicrosecond);

} // namespace fus::bench
