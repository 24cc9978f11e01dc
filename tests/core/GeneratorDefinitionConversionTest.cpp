#include "fus/P_GeneratorDefinition.h"

#include "support/Bytes.h"
#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

using namespace fus;
using namespace fus::test;

namespace {

using Floats = std::vector<float>;

constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
constexpr float INFINITE = std::numeric_limits<float>::infinity();

/// All bits of the values, but for those of a NaN, in which only that counts.
std::vector<std::uint32_t> bitsOf(const Floats& values) {
    std::vector<std::uint32_t> bits;
    for (const float value : values) {
        bits.push_back(floatBits(std::isnan(value) ? NOT_A_NUMBER : value));
    }
    return bits;
}

/// What the conversion is to compute, in plain words: adds values and power of a channel.
void addPlainly(Floats& all, int type, const std::vector<Floats>& decoders, Floats values) {
    if (values == Floats(values.size(), 0.0F)) {
        all.insert(all.end(), values.size() + 1, 0.0F);
        return;
    }
    const bool quiet = type == 2 && values[0] < 10 && values[1] < 11;
    for (std::size_t i = 0; i < values.size(); ++i) {
        float sum = 0;
        for (std::size_t k = 0; k < decoders[i].size(); ++k) {
            float power = 1;
            for (std::size_t n = 0; n < k; ++n) {
                power *= values[i];
            }
            sum += decoders[i][k] * power;
        }
        values[i] = i < 2 && sum < 0 ? 0 : sum;
    }
    values[2] = quiet ? 0 : values[2];
    const float v = values[0];
    const float w = values[1];
    float power = v - w;
    if (type == 2) {
        power = std::cos(values[2]) * (w * v);
    } else if (type == 3) {
        power = (v * v - w * w) / 47;
    }
    all.insert(all.end(), values.begin(), values.end());
    all.push_back(power < 0 ? -1 : power);
}

std::string listText(const Floats& values) {
    std::ostringstream text;
    text.precision(9);
    for (auto value = values.rbegin(); value != values.rend(); ++value) {
        text << *value << '|';
    }
    return text.str();
}

/// Channels whose measures are mixed of these raw values.
std::vector<Floats> channelsOf(const Floats& raws, std::size_t measures) {
    std::vector<Floats> channels;
    const std::size_t size = raws.size();
    for (std::size_t n = 0; n < size * size; ++n) {
        channels.push_back(
            {raws[n % size], raws[n / size], raws[(n + n / size) % size], raws[n * 5 / 7 % size]});
        channels.back().resize(measures);
    }
    return channels;
}

/// Values and power of one channel after the other.
Floats convertedOneByOne(const GeneratorDefinition& definition,
                         const std::vector<Floats>& channels) {
    Floats all;
    for (unsigned c = 0; c < channels.size(); ++c) {
        FloatArray values(channels[c].data(), channels[c].size());
        float power = 12;
        definition.convertMeasures(c, values, &power);
        all.insert(all.end(), values.data(), values.data() + values.size());
        all.push_back(power);
    }
    return all;
}

Floats convertedAtOnce(const GeneratorDefinition& definition, const std::vector<Floats>& channels) {
    const std::size_t count = channels.size();
    const std::size_t measures = channels[0].size();
    std::vector<unsigned char> raw;
    for (std::size_t i = 0; i < count * measures; ++i) {
        raw.push_back(static_cast<unsigned char>(channels[i % count][i / count]));
    }
    Floats values(raw.size()), powers(count), all;
    definition.convertBytes(raw.data(), count, values.data(), powers.data());
    for (std::size_t c = 0; c < count; ++c) {
        for (std::size_t m = 0; m < measures; ++m) {
            all.push_back(values[m * count + c]);
        }
        all.push_back(powers[c]);
    }
    return all;
}

TEST(GeneratorDefinition, ConvertsToTheBitAsThePlainComputationDoes) {
    const Floats longest(70, 1e-3F); // too long for a table
    const std::vector<std::vector<Floats>> sets = {
        {{0.1F, 0.013F, -3e-5F}, {-0.3F, 0.02F}, {0.7F, -0.03F, 1e-6F, 2e-9F}, {1.0F}},
        {{-500, 7}, {300}, {}, {3e38F, 3e38F}},
        {{INFINITE, -1}, {NOT_A_NUMBER}, {INFINITE}, {0, 1e38F, 1e38F}},
        {longest, longest, longest, {}},
    };
    const Floats bytes = {0, 1, 2, 9, 10, 11, 77, 254, 255};
    const Floats mixed = {0, 1, 10, 77, 255, 256, 0.5F, 65535, 4294967295.0F};
    LogCapture log(Log::ERROR);
    GeneratorDefinition definition; // keeps nothing from load to load
    for (int type = 1; type <= 3; ++type) {
        const std::size_t measures = type == 2 ? 4 : 3;
        for (const auto& decoders : sets) {
            SCOPED_TRACE(testing::PrintToString(type) + testing::PrintToString(decoders));
            std::string text = "[config]\nip = h\nchannels = 1\n[amplifier]\nversion = "
                               "1\nonboardLoad = 47\ntype = " +
                               std::to_string(type) + "\nmeasures = " + std::to_string(measures) +
                               "\n[coeffs0]\nVADCThreshold = 10\nIADCThreshold = 11\n";
            for (std::size_t i = 0; i < measures; ++i) {
                text += "c" + std::to_string(i) + " = " + listText(decoders[i]) + "\n";
            }
            ASSERT_TRUE(definition.loadText(text.c_str()));
            EXPECT_EQ(definition.hasTables(measures), decoders[0] != longest);
            for (const Floats& raws : {mixed, bytes}) {
                const auto channels = channelsOf(raws, measures);
                Floats expected;
                for (const Floats& channel : channels) {
                    addPlainly(expected, type, decoders, channel);
                }
                log.clear();
                EXPECT_EQ(bitsOf(convertedOneByOne(definition, channels)), bitsOf(expected));
                if (raws == bytes && definition.hasTables(measures)) {
                    const std::string told = log.text();
                    log.clear();
                    EXPECT_EQ(bitsOf(convertedAtOnce(definition, channels)), bitsOf(expected));
                    EXPECT_EQ(log.text(), told);
                }
            }
        }
    }
}

} // namespace
