#pragma once

#include "fus/Export.h"
#include "fus/Message.h"

namespace fus {

/// The 32-bit error value that the generator's boards report. From the top byte down: family,
/// code within the family, and two extra bytes whose meaning belongs to the family.
///
/// A plain value: any thread may use its own copy. 0 means that there is no error.
class FUS_API HardwareCode {
public:
    // Implicit on purpose: a raw code is accepted wherever a HardwareCode is.
    HardwareCode(unsigned rawCode) noexcept : m_rawCode(rawCode) {}

    unsigned rawCode() const noexcept { return m_rawCode; }
    /// True for the raw code 0.
    bool empty() const noexcept { return m_rawCode == 0; }

    /// Bits 31..24: the error family.
    unsigned char errorType() const noexcept { return byteAt(24); }
    /// Bits 23..16: the code within the family.
    unsigned char errorCode() const noexcept { return byteAt(16); }
    /// Bits 15..8.
    unsigned char extra0() const noexcept { return byteAt(8); }
    /// Bits 7..0.
    unsigned char extra1() const noexcept { return byteAt(0); }

    /// The mechanical error. ERR_ARGUMENT if this is not a code of the mechanical family.
    unsigned char mechanicalError() const;
    /// The axis that failed. ERR_ARGUMENT if this is not a code of the mechanical family.
    unsigned char mechanicalActuator() const;

    /// The English text. Never fails: an unknown family gives "Unknown error".
    Message message() const;

private:
    friend class FUSException;

    // Returns a FUSError. It cannot be named here: the header of the exception includes this one.
    unsigned getCorrespondingFUSError() const noexcept;
    void requireMechanical() const;

    unsigned char byteAt(unsigned shift) const noexcept {
        return static_cast<unsigned char>((m_rawCode >> shift) & 0xFFU);
    }

    unsigned m_rawCode;
};

} // namespace fus
