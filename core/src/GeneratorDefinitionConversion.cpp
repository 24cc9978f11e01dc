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

/// How a kind of amplifier computes its power, and what the log says when that is negative.
/// `cosine` is that of the third value.
struct PowerRow {
    float (*power)(const float* values, float cosine, float load);
    void (*complain)(unsigned channel, const float* values, float power);
};

float differenceOfPowers(const float* values, float /*cosine*/, float /*load*/) {
    return values[0] - values[1];
}
void complainOfPowers(unsigned channel, const float* values, float power) {
    FUS_LOG(ERROR, "  compute[ch=%3d]: Pf=%0.2f W, Pr=%0.2f W, power=%0.3f W -> -1",
            static_cast<int>(channel), static_cast<double>(values[0]),
            static_cast<double>(values[1]), static_cast<double>(power));
}

float activePower(const float* values, float cosine, float /*load*/) {
    return cosine * (values[1] * values[0]);
}
void complainOfActivePower(unsigned channel, const float* values, float power) {
    FUS_LOG(ERROR, "  compute[ch=%3d]: V=%0.2f V, I=%0.2f A, Ph=%0.2f rad, power=%0.3f W -> -1",
            static_cast<int>(channel), static_cast<double>(values[0]),
            static_cast<double>(values[1]), static_cast<double>(values[2]),
            static_cast<double>(power));
}

float powerIntoLoad(const float* values, float /*cosine*/, float load) {
    return (values[0] * values[0] - values[1] * values[1]) / load;
}
void complainOfPowerIntoLoad(unsigned channel, const float* values, float power) {
    FUS_LOG(ERROR, "  compute[ch=%3d]: Vf=%0.2f V, Vr=%0.2f V, power=%0.3f W",
            static_cast<int>(channel), static_cast<double>(values[0]),
            static_cast<double>(values[1]), static_cast<double>(power));
}

/// By AmplifierType.
constexpr PowerRow POWERS[AMPLIFIER_COUNT] = {
    {nullptr, nullptr},
    {differenceOfPowers, complainOfPowers},
    {activePower, complainOfActivePower},
    {powerIntoLoad, complainOfPowerIntoLoad},
};

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
bool GeneratorDefinition::isQuiet(const float* values) const {
    return m_amplifierType == AMPLIFIER_V_I_Pvi_Pvr && values[0] < static_cast<float>(vthreshold) &&
           values[1] < static_cast<float>(ithreshold);
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
    const bool quiet = isQuiet(values);
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
    const float power = row.power(values, cosine, m_onboardLoad);
    if (power < 0.0F) {
        row.complain(channel, values, power);
        return -1.0F;
    }
    return power;
}

} // namespace fus
