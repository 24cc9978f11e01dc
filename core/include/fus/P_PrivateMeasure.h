#pragma once

#include "fus/GProtocol.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace fus {

class NetPacket;

/// Coefficients of a polynomial, the index being the power.
using Polynomial = std::vector<float>;

/// What is known of one kind of sensor value. Name, size and unit come with the INI text; the
/// thresholds and the polynomials with the measure's definition, which only board measures of
/// active boards get.
class PrivateMeasure {
public:
    std::string name;
    std::uint32_t size = 0; ///< bytes of one raw value
    gprotocol::Unit unit{};
    std::uint32_t lowerThreshold = 0; ///< [ADC value]
    std::uint32_t upperThreshold = 0; ///< [ADC value]
    Polynomial ADCToUnit;
    Polynomial UnitToADC;
};

using MeasureList = std::vector<std::unique_ptr<PrivateMeasure>>;

/// A measure is addressed by one byte on the wire, so that a list holds at most this many.
constexpr std::size_t MAX_MEASURES_PER_LIST = 256;

/// What the name of a measure implies.
struct MeasureKind {
    const char* name;
    std::uint32_t typeId; ///< what a board puts into a measure's definition
    gprotocol::Unit unit;
};

/// The row of this name (compared exactly). An unknown name gives a row with unit 0 and type id 0.
const MeasureKind& findMeasureKind(const char* name);

/// Adds measures of this name and size to a list, the unit being the name's.
void appendMeasures(MeasureList& list, const std::string& name, std::uint32_t size,
                    std::size_t count = 1);

/// Reads a list such as "2tem2,idc2" (count, name, size) and appends the measures; returns how many
/// they are. Throws ERR_CONFIG_PARSE when the list would outgrow MAX_MEASURES_PER_LIST.
unsigned parseMeasureList(const char* text, MeasureList& list);

/// Reads a board's definition of a measure (the data of its answer, from the packet's position)
/// into the record and makes the inverse polynomial. The packet is left in little-endian order.
/// With `secure`, size and type must be those of the INI text.
///
/// Throws ERR_PACKET for a divisor of 0, and for another size or type; ERR_INDEX for a packet that
/// ends before the coefficients that it declares; ERR_ARGUMENT as makeInversePolynomial().
void decodeMeasureDefinition(NetPacket& answer, PrivateMeasure& measure, bool secure);

/// The inverse of a polynomial of degree 1. Throws ERR_ARGUMENT for another degree ("Invalid
/// polynomial degree.") and for a constant ("Invalid polynomial coefficient.").
Polynomial makeInversePolynomial(const Polynomial& polynomial);

/// "[ 2.5, 1 ]" for 1 + 2.5x.
std::string polynomialText(const Polynomial& polynomial);

/// Horner's scheme in single precision, highest power first; 0.0 without coefficients. This order
/// of operations is the contract: results are compared bit by bit, so it must not be re-associated,
/// nor be built with options that fuse the multiplication into the addition.
inline float evaluatePolynomial(const float* coefficients, std::size_t count, float x) noexcept {
    if (count == 0) {
        return 0.0f;
    }
    float result = coefficients[count - 1];
    for (std::size_t i = count - 1; i-- > 0;) {
        result = result * x + coefficients[i];
    }
    return result;
}

inline float evaluatePolynomial(const Polynomial& polynomial, float x) noexcept {
    return evaluatePolynomial(polynomial.data(), polynomial.size(), x);
}

} // namespace fus
