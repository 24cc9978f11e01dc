#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"

#include <cstdint>

namespace fus {

class PrivateMeasure;

/// One kind of value that a board reports: its name, its width, its unit, and the two polynomials
/// between raw ADC values and physical ones.
///
/// A measure is a handle of one pointer into the description of the connected generator. It may be
/// copied freely and read on any thread, and it must not be used after the connection is closed:
/// there is no check, a use after that crashes. What is returned as `const char*` belongs to the
/// description and lives as long as it does.
class FUS_API Measure {
public:
    /// The identifier, three letters, such as "vdc" or "tem".
    const char* name() const;
    /// Bytes of one raw value: 1, 2 or 4.
    std::uint32_t size() const;

    gprotocol::Unit unit() const;
    /// "Volt", "Ampere"...; "???" for a measure of unknown name.
    const char* unitName() const;
    /// "V", "A"...; "?" for a measure of unknown name.
    const char* unitSymbol() const;

    /// The board's default thresholds [ADC value]. 0 for channel measures, and on V2 generators.
    std::uint32_t lowerThreshold() const;
    std::uint32_t upperThreshold() const;

    /// Always 0.
    std::uint32_t minADCValue() const;
    /// 255 for one byte, 65535 for two, and 0 for four, where it must not be taken for a limit.
    std::uint32_t maxADCValue() const;

    /// The physical value [unit()] of a raw one; 0.0 for a measure without a polynomial (all
    /// channel measures, and all measures of V2 generators). Doesn't allocate.
    float physicalFromADC(std::uint32_t adc) const;
    /// The raw value of a physical one [unit()], truncated; 0 where the result is negative or not a
    /// number, or where there is no polynomial. It isn't held to maxADCValue(), only to 32 bits.
    std::uint32_t physicalToADC(float value) const;

private:
    friend struct HandleMaker;
    explicit Measure(const PrivateMeasure* measure) : m_measure(measure) {}

    const PrivateMeasure* m_measure;
};

} // namespace fus
