#pragma once

#include "fus/MechanicalActuator.h"
#include "fus/P_DefinitionReview.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fus {

class ConfigSection;

/// What the keys hold, before it has been found good. Initial values are those of absent keys.
struct MechanicalActuatorDraft {
    std::int32_t lowerBound = MechanicalActuator::BAD_INTEGER;
    std::int32_t upperBound = -MechanicalActuator::BAD_INTEGER;
    std::int32_t maxSpeed = MechanicalActuator::BAD_INTEGER;
    std::uint32_t minNegativeDAC = 127;
    std::uint32_t minPositiveDAC = 127;
    std::uint32_t accelDuration = 25;
    float kP = MechanicalActuator::BAD_FLOAT;
    float kI = MechanicalActuator::BAD_FLOAT;
    float kD = MechanicalActuator::BAD_FLOAT;
    float maxIntegralError = MechanicalActuator::BAD_FLOAT;
    std::uint32_t toleranceTarget = MechanicalActuator::BAD_INTEGER;
    std::uint32_t toleranceMoving = MechanicalActuator::BAD_INTEGER;
    std::uint32_t plotMode = 3;
    bool inverted = false;
    bool abs = true;
    bool encoderCableDetection = false;
    const char* name = nullptr;
    const char* motion = nullptr;
    const char* unit = nullptr;
    const char* topology = nullptr;
    float stepSize = MechanicalActuator::BAD_FLOAT;
    float maxUserSpeed = MechanicalActuator::BAD_FLOAT;
    float defUserSpeed = MechanicalActuator::BAD_FLOAT;
    std::vector<std::int32_t> initDACs;
    std::int32_t initTimeout = 30000;
    std::vector<std::int32_t> initPark;

    /// The values that the texts stand for; 0, which is unknown, if there is none.
    std::uint32_t motionType() const;
    std::uint32_t unitType() const;
    std::uint32_t topologyType() const;
};

/// How an actuator is read from a definition: a list of steps in a fixed order, each a key that is
/// read or a requirement on what was read so far. The first one that fails ends the reading. The
/// requirements behind an OPTIONAL key that is absent are not looked at, up to the next key. ADVICE
/// is for reviews alone, and refuses nothing.
struct MechanicalActuatorStep {
    using Draft = MechanicalActuatorDraft;
    enum Kind { MANDATORY, READ, OPTIONAL, REQUIREMENT, COUNT, ADVICE };

    Kind kind;
    const char* section; ///< of a key
    const char* text;    ///< the key, or the words of the requirement
    // of a key
    ValueRule rule{ValueKind::TEXT};
    void (*read)(const ConfigSection& section, const char* key, Draft& draft) = nullptr;
    std::string (*written)(const Draft& draft) = nullptr; ///< empty: what an absent key leaves
    // of a requirement or an advice
    bool (*check)(const Draft& draft) = nullptr;
    const char* about = nullptr; ///< the key; null: the one in front
    const char* needs = nullptr; ///< a key without which it makes no sense
    // of a list's length
    std::size_t count = 0;
    std::vector<std::int32_t> Draft::*list = nullptr;
    // of an advice
    DefinitionComplaint::Weight weight = DefinitionComplaint::ODD;

    bool isKey() const { return kind < REQUIREMENT; }

    static constexpr const char* BOARD_SECTION = "Board";
    static constexpr const char* FUS_SECTION = "FUS";
};

/// All of them, for a range-based loop.
struct MechanicalActuatorSteps {
    const MechanicalActuatorStep* begin() const;
    const MechanicalActuatorStep* end() const;
};

} // namespace fus
