#pragma once

#include "fus/Export.h"

#include <cstdint>
#include <string>

namespace fus {

/// What the mechanical board says about itself: the last error, where it happened, and with which
/// argument. Only the mechanics make one; copies are free.
class FUS_API MechanicalStatus {
public:
    /// The family of the error, as the top byte of a `HardwareCode`.
    unsigned char module() const { return m_module; }
    /// 0: no error.
    unsigned char errorCode() const { return m_errorCode; }
    unsigned char actuator() const { return m_actuator; }
    unsigned char argument() const { return m_argument; }

    /// True without an error, whatever the other bytes hold.
    bool ok() const { return m_errorCode == 0; }
    /// The text of the error, "Unknown error" if it has none. A constant string.
    const char* message() const;
    /// Writes one line at level INFO.
    void log() const;
    /// One line, all numbers hexadecimal.
    std::string toString() const;

private:
    friend class LowLevelMechanicsPrivate;
    friend struct TestPeer;

    MechanicalStatus(unsigned char module, unsigned char errorCode, unsigned char actuator,
                     unsigned char argument);
    explicit MechanicalStatus(std::uint32_t rawCode);

    std::uint32_t rawCode() const;

    unsigned char m_module;
    unsigned char m_errorCode;
    unsigned char m_actuator;
    unsigned char m_argument;
};

} // namespace fus
