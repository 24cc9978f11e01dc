// What stays in the process: log lines, slicing, INI text, a definition.

#include "Ratios.h"

#include "fus/P_Config.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"
#include "fus/P_TimeSlicer.h"

#include <benchmark/benchmark.h>

#include <atomic>
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

BENCHMARK(loadDefinition)->Unit(benchmark::kMicrosecond);

} // namespace fus::bench
