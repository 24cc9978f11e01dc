#include "fus/Measure.h"

#include "fus/P_PrivateMeasure.h"

#include <limits>

namespace fus {

namespace {

// Values beyond 32 bits saturate: a limit that is asked too high must not wrap to a low one.
std::uint32_t truncatedToUnsigned(float value) {
    if (!(value > 0.0f)) { // so written that "not a number" gives 0 too
        return 0;
    }
    constexpr float LIMIT = 4294967296.0f;
    return value >= LIMIT ? std::numeric_limits<std::uint32_t>::max()
                          : static_cast<std::uint32_t>(value);
}

} // namespace

const char* Measure::name() const {
    return m_measure->name.c_str();
}

std::uint32_t Measure::size() const {
    return m_measure->size;
}

gprotocol::Unit Measure::unit() const {
    return m_measure->unit;
}

const char* Measure::unitName() const {
    return gprotocol::unitName(m_measure->unit);
}

const char* Measure::unitSymbol() const {
    return gprotocol::unitSymbol(m_measure->unit);
}

std::uint32_t Measure::lowerThreshold() const {
    return m_measure->lowerThreshold;
}

std::uint32_t Measure::upperThreshold() const {
    return m_measure->upperThreshold;
}

std::uint32_t Measure::minADCValue() const {
    return 0;
}

// A shift of 32 counts as one of 0, so that four bytes give 0: callers have come to rely on it.
std::uint32_t Measure::maxADCValue() const {
    return (std::uint32_t{1} << (m_measure->size * 8 % 32)) - 1;
}

float Measure::physicalFromADC(std::uint32_t adc) const {
    return evaluatePolynomial(m_measure->ADCToUnit, static_cast<float>(adc));
}

std::uint32_t Measure::physicalToADC(float value) const {
    return truncatedToUnsigned(evaluatePolynomial(m_measure->UnitToADC, value));
}

} // namespace fus
