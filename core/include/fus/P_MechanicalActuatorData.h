#pragma once

#include "fus/MechanicalActuator.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace fus {

/// What the search of an actuator's origin needs, and what it finds.
struct OriginParams {
    /// Absolute position [step]; 0: not known. Atomic: searches, disconnects and applications meet
    /// here.
    std::atomic<std::uint32_t> origin{0};
    std::int32_t initTimeout = 0;  ///< [ms]
    std::int32_t parkPosition = 0; ///< relative to the origin [step]
    std::int32_t parkDuration = 0; ///< [ms]; 0: no park
    std::uint8_t firstDAC = 0;
    std::uint8_t lastDAC = 0;
    std::uint8_t stepDAC = 0;
};

/// The values of a `MechanicalActuator`, constant once it was read, but for the origin.
struct MechanicalActuatorData {
    explicit MechanicalActuatorData(std::uint32_t axis) : address(axis) {}

    /// Optical references.
    unsigned zeroCount() const;

    const std::uint32_t address;
    std::string name;
    OriginParams originParams;
    MechanicalActuator::MotionType motionType = MechanicalActuator::MOTION_UNKNOWN;
    MechanicalActuator::Unit unit = MechanicalActuator::UNIT_UNKNOWN;
    MechanicalActuator::ZeroTopology zeroTopology = MechanicalActuator::ZTOPO_UNKNOWN;
    std::int32_t lowerBound = 0; ///< relative to the origin [step]
    std::int32_t upperBound = 0;
    float kP = 0;
    float kI = 0;
    float kD = 0;
    float maxIntegralError = 0;
    float stepSize = 0; ///< [unit]
    std::uint32_t toleranceMoving = 0;
    std::uint32_t toleranceTarget = 0;
    std::uint32_t boardMaxSpeed = 0; ///< [step/s]
    float defaultUserSpeed = 0;      ///< [step/s]
    float maxUserSpeed = 0;          ///< [step/s]
    std::uint8_t minNegativeDAC = 0;
    std::uint8_t minPositiveDAC = 0;
    std::uint8_t accelDuration = 0; ///< [ms]
    std::uint8_t plotMode = 0;
    bool inverted = false;
    bool abs = false;
    bool encoderCableDetection = false;
};

} // namespace fus
