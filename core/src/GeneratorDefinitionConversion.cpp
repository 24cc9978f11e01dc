// From raw measures to physical values and power. This runs on the reader thread for every channel
// of every shot: nothing is allocated, and what a raw value of one byte becomes is looked up. The
// tables are made by the very operations that they stand for.

#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cmath>

namespace fus {

using namespace gprotocol;

namespace {

constexpr unsigned BYTE_VALUES = 256;
/// A decoder that is longer isn't worth the time that its table takes.
constexpr std::size_t TABULATED_COEFFICIENTS = 64;
/// Voltages, currents and powers: what lies in front of the phases.
constexpr std::size_t MAGNITUDES = 2;
constexpr std::size_t PHASE = 2;

/// By rising power, which is built by repeated multiplication; 0.0 without coefficients.
float evaluate(const FloatArray& decoder, float x) {
    float sum = 0.0F;
    float power = 1.0F;
    const float* const coefficients = decoder.data();
    for (std::size_t i = 0; i < decoder.size(); ++i) {
        sum += coefficients[i] * power;
        power *= x;
    }
    return sum;
}

/// What a decoder makes of a raw value: neither powers nor amplitudes are negative.
float decoded(const FloatArray& decoder, std::size_t measure, float raw) {
    const float value = evaluate(decoder, raw);
    return measure < MAGNITUDES && value < 0.0F ? 0.0F : value;
}

/// The place of a raw value in a table, BYTE_VALUES if it has none.
unsigned placeOf(float raw) {
    if (!(raw >= 0.0F && raw < static_cast<float>(BYTE_VALUES))) {
        return BYTE_VALUES;
    }
    const auto place = static_cast<unsigned>(raw);
    return static_cast<float>(place) == raw ? place : BYTE_VALUES;
}

/// What a power is computed from; `cosine` is that of the third value.
struct Operands {
    float first;
    float second;
    float cosine;
    float load; // [Ohm]
};

float differenceOfPowers(const Operands& o) {
    return o.first - o.second;
}
void complainOfPowers(int channel, const float* values, double power) {
    FUS_LOG(ERROR, "  compute[ch=%3d]: Pf=%0.2f W, Pr=%0.2f W, power=%0.3f W -> -1", channel,
            static_cast<double>(values[0]), static_cast<double>(values[1]), power);
}

float activePower(const Operands& o) {
    return o.cosine * (o.second * o.first);
}
void complainOfActivePower(int channel, const float* values, double power) {
    FUS_LOG(ERROR, "  compute[ch=%3d]: V=%0.2f V, I=%0.2f A, Ph=%0.2f rad, power=%0.3f W -> -1",
            channel, static_cast<double>(values[0]), static_cast<double>(values[1]),
            static_cast<double>(values[2]), power);
}

float powerIntoLoad(const Operands& o) {
    return (o.first * o.first - o.second * o.second) / o.load;
}
void complainOfPowerIntoLoad(int channel, const float* values, double power) {
    FUS_LOG(ERROR, "  compute[ch=%3d]: Vf=%0.2f V, Vr=%0.2f V, power=%0.3f W", channel,
            static_cast<double>(values[0]), static_cast<double>(values[1]), power);
}

/// The powers of many channels, whose first and second values stand one behind the other. `powers`
/// comes in as the cosines. A loop of its own for each kind, which the compiler can vectorize.
template <float (*Power)(const Operands&)>
void fillPowers(const float* values, std::size_t channels, float load, float* powers) {
    for (std::size_t c = 0; c < channels; ++c) {
        powers[c] = Power({values[c], values[channels + c], powers[c], load});
    }
}

/// How a kind of amplifier computes its power, and what the log says when that is negative.
struct PowerRow {
    float (*power)(const Operands& operands);
    void (*fill)(const float* values, std::size_t channels, float load, float* powers);
    void (*complain)(int channel, const float* values, double power);
};

/// By AmplifierType.
constexpr PowerRow POWERS[AMPLIFIER_COUNT] = {
    {nullptr, nullptr, nullptr},
    {differenceOfPowers, fillPowers<differenceOfPowers>, complainOfPowers},
    {activePower, fillPowers<activePower>, complainOfActivePower},
    {powerIntoLoad, fillPowers<powerIntoLoad>, complainOfPowerIntoLoad},
};

/// No channel emits less than nothing: such a power is told, and doesn't count.
float accepted(const PowerRow& row, std::size_t channel, const float* values, float power) {
    if (power < 0.0F) {
        row.complain(static_cast<int>(channel), values, static_cast<double>(power));
        return -1.0F;
    }
    return power;
}

void lookUp(const std::vector<float>& table, const unsigned char* raw, std::size_t count,
            float* values) {
    const float* const entries = table.data();
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = entries[raw[i]];
    }
}

} // namespace

void GeneratorDefinition::tabulateDecoders() {
    m_tables.resize(m_decoders.size());
    for (std::size_t i = 0; i < m_decoders.size(); ++i) {
        if (m_decoders[i].size() > TABULATED_COEFFICIENTS) {
            continue;
        }
        for (unsigned raw = 0; raw < BYTE_VALUES; ++raw) {
            m_tables[i].push_back(decoded(m_decoders[i], i, static_cast<float>(raw)));
        }
    }
    if (m_amplifierType == AMPLIFIER_V_I_Pvi_Pvr && m_tables.size() > PHASE) {
        for (const float phase : m_tables[PHASE]) {
            m_phaseCosines.push_back(std::cos(phase));
        }
    }
}

float GeneratorDefinition::decode(std::size_t measure, float raw) const {
    const ByteTable& table = m_tables[measure];
    const unsigned place = placeOf(raw);
    return place < table.size() ? table[place] : decoded(m_decoders[measure], measure, raw);
}

float GeneratorDefinition::cosineOf(float rawPhase, float phase) const {
    const unsigned place = placeOf(rawPhase);
    return place < m_phaseCosines.size() ? m_phaseCosines[place] : std::cos(phase);
}

/// A phase between two signals that are too weak to be measured means nothing.
bool GeneratorDefinition::isQuiet(float rawVoltage, float rawCurrent) const {
    return m_amplifierType == AMPLIFIER_V_I_Pvi_Pvr &&
           rawVoltage < static_cast<float>(m_vthreshold) &&
           rawCurrent < static_cast<float>(m_ithreshold);
}

void GeneratorDefinition::convertMeasures(unsigned channel, FloatArray& values,
                                          float* power) const {
    convertMeasures(channel, values.size() == 0 ? nullptr : &values[0], values.size(), power);
}

void GeneratorDefinition::convertMeasures(unsigned channel, float* values, std::size_t count,
                                          float* power) const {
    if (count != m_measureCount) {
        FUS_THROW(ERR_ARGUMENT);
    }
    // A channel that saw nothing converts to nothing, whatever the polynomials make of a zero.
    if (std::all_of(values, values + count, [](float raw) { return raw == 0.0F; })) {
        *power = 0.0F;
        return;
    }
    const bool quiet = isQuiet(values[0], values[1]);
    if (m_tables.size() < count) {
        FUS_THROW(ERR_ARGUMENT);
    }
    const float rawPhase = values[PHASE];
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = decode(i, values[i]);
    }
    float cosine = 1.0F;
    if (quiet) {
        values[PHASE] = 0.0F;
    } else if (m_amplifierType == AMPLIFIER_V_I_Pvi_Pvr) {
        cosine = cosineOf(rawPhase, values[PHASE]);
    }
    *power = powerOf(channel, values, cosine);
}

bool GeneratorDefinition::hasTables(std::size_t count) const {
    return count == m_measureCount && count > PHASE && m_tables.size() == count &&
           std::none_of(m_tables.begin(), m_tables.end(),
                        [](const ByteTable& table) { return table.empty(); });
}

void GeneratorDefinition::convertBytes(const unsigned char* raw, std::size_t channels,
                                       float* values, float* powers) const {
    for (std::size_t m = 0; m < m_tables.size(); ++m) {
        lookUp(m_tables[m], raw + m * channels, channels, values + m * channels);
    }
    if (m_amplifierType == AMPLIFIER_V_I_Pvi_Pvr) {
        lookUp(m_phaseCosines, raw + PHASE * channels, channels, powers);
        for (std::size_t c = 0; c < channels; ++c) {
            if (raw[c] < m_vthreshold && raw[channels + c] < m_ithreshold) {
                values[PHASE * channels + c] = 0.0F;
                powers[c] = 1.0F;
            }
        }
    }
    const PowerRow& row = POWERS[m_amplifierType];
    row.fill(values, channels, m_onboardLoad, powers);
    for (std::size_t c = 0; c < channels; ++c) {
        if (raw[c] == 0) {
            silence(raw, channels, c, values, powers);
        }
        if (powers[c] < 0.0F) {
            const float own[] = {values[c], values[channels + c], values[PHASE * channels + c]};
            powers[c] = accepted(row, c, own, powers[c]);
        }
    }
}

/// Sets a channel back to nothing if all of its raw values are 0.
void GeneratorDefinition::silence(const unsigned char* raw, std::size_t channels,
                                  std::size_t channel, float* values, float* powers) const {
    const std::size_t end = m_tables.size() * channels;
    for (std::size_t i = channel; i < end; i += channels) {
        if (raw[i] != 0) {
            return;
        }
    }
    for (std::size_t i = channel; i < end; i += channels) {
        values[i] = 0.0F;
    }
    powers[channel] = 0.0F;
}

float GeneratorDefinition::computePower(unsigned channel, const FloatArray& values) const {
    if (values.size() != m_measureCount) {
        FUS_THROW(ERR_ARGUMENT);
    }
    const bool withPhase = m_amplifierType == AMPLIFIER_V_I_Pvi_Pvr;
    return powerOf(channel, values.data(), withPhase ? std::cos(values[PHASE]) : 1.0F);
}

float GeneratorDefinition::powerOf(unsigned channel, const float* values, float cosine) const {
    const PowerRow& row = POWERS[m_amplifierType];
    if (row.power == nullptr) {
        return -1.0F;
    }
    return accepted(row, channel, values, row.power({values[0], values[1], cosine, m_onboardLoad}));
}

} // namespace fus
