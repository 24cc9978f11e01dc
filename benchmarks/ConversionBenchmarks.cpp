// The conversion of a shot result by itself: physical values and powers of 256 channels.

#include "PlainConversion.h"
#include "Ratios.h"

#include "fus/P_GeneratorDefinition.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <vector>

namespace fus::bench {

namespace {

constexpr std::size_t VALUES = std::size_t{BarePeer::CHANNELS} * BarePeer::MEASURES;

std::vector<unsigned char> measures() {
    const Bytes packet = BarePeer::shotPacket(1);
    return std::vector<unsigned char>(packet.end() - VALUES, packet.end());
}

void plainConversion(benchmark::State& state) {
    const std::vector<unsigned char> raw = measures();
    PlainConversion convert;
    for (auto _ : state) {
        convert(raw.data());
    }
    state.SetItemsProcessed(state.iterations());
}

void conversion(benchmark::State& state) {
    const std::vector<unsigned char> raw = measures();
    GeneratorDefinition definition;
    if (!definition.loadText(PlainConversion::DEFINITION)) {
        std::abort();
    }
    std::vector<float> values(VALUES);
    std::vector<float> powers(BarePeer::CHANNELS);
    for (auto _ : state) {
        definition.convertBytes(raw.data(), BarePeer::CHANNELS, values.data(), powers.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(plainConversion)->Unit(benchmark::kMicrosecond);
BENCHMARK(conversion)->Unit(benchmark::kMicrosecond);

} // namespace fus::bench
