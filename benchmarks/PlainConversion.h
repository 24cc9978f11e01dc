#pragma once

#include "BarePeer.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace fus::bench {

/// What the conversion of a shot of the bare peer computes, in a bare loop over arrays.
class PlainConversion {
public:
    /// The definition that asks for it.
    static constexpr char DEFINITION[] =
        "[config]\nip = 127.0.0.1\nchannels = 256\n"
        "[amplifier]\nversion = 1.2.3.4\ntype = 2\nmeasures = 4\n"
        "[coeffs0]\nc0 = 2e-5|0.12|0.3\nc1 = -1e-6|0.02|0.01\nc2 = 1e-7|0.0122|-1.57\n"
        "c3 = 1e-7|0.0246|-3.14\nVADCThreshold = 10\nIADCThreshold = 10\n";

    void operator()(const unsigned char* measures) {
        for (unsigned c = 0; c < CHANNELS; ++c) {
            convertChannel(measures + c, m_values.data() + c, m_powers[c]);
        }
        benchmark::DoNotOptimize(m_values.data());
        benchmark::DoNotOptimize(m_powers.data());
        benchmark::ClobberMemory();
    }

private:
    static constexpr unsigned CHANNELS = BarePeer::CHANNELS;
    static constexpr unsigned MEASURES = BarePeer::MEASURES;
    static constexpr unsigned char QUIET = 10;

    void convertChannel(const unsigned char* raw, float* values, float& power) const {
        float converted[MEASURES];
        for (unsigned m = 0; m < MEASURES; ++m) {
            converted[m] = evaluate(m_decoders[m], raw[m * CHANNELS]);
        }
        converted[0] = converted[0] < 0 ? 0 : converted[0];
        converted[1] = converted[1] < 0 ? 0 : converted[1];
        if (raw[0] < QUIET && raw[CHANNELS] < QUIET) {
            converted[2] = 0;
        }
        power = std::cos(converted[2]) * (converted[1] * converted[0]);
        for (unsigned m = 0; m < MEASURES; ++m) {
            values[m * CHANNELS] = converted[m];
        }
    }

    static float evaluate(const std::vector<float>& decoder, float x) {
        float sum = 0;
        float xPower = 1;
        for (const float coefficient : decoder) {
            sum += coefficient * xPower;
            xPower *= x;
        }
        return sum;
    }

    // The decoders are what a file says, as they are in the library: by rising power.
    const std::vector<std::vector<float>> m_decoders = {{0.3F, 0.12F, 2e-5F},
                                                        {0.01F, 0.02F, -1e-6F},
                                                        {-1.57F, 0.0122F, 1e-7F},
                                                        {-3.14F, 0.0246F, 1e-7F}};
    std::vector<float> m_values = std::vector<float>(CHANNELS * MEASURES);
    std::vector<float> m_powers = std::vector<float>(CHANNELS);
};

} // namespace fus::bench
