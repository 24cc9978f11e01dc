#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"

#include <cstdint>
#include <memory>

namespace fus {

class ConfigSection;
struct DefinitionReview;
struct MechanicalActuatorData;
struct OriginParams;

/// One axis of the mechanical system: what a definition says about it, and the conversions between
/// positions, distances, durations and physical units.
///
/// Positions are steps, absolute (the encoder's counter) or relative to the origin. Speeds are
/// steps per second, delays milliseconds. What a conversion can't represent as an int gives the
/// least int.
///
/// Belongs to `LowLevelMechanics` and lives until the definition is cleared or another one is
/// loaded. Constant but for its origin, which is atomic: any thread may ask.
class FUS_API MechanicalActuator {
public:
    enum MotionType : std::uint32_t {
        MOTION_UNKNOWN = 0,
        MOTION_TRANSLATION = 1,
        MOTION_ROTATION = 2
    };
    enum Unit : std::uint32_t { UNIT_UNKNOWN = 0, UNIT_MILLIMETER = 1, UNIT_RADIAN = 2 };
    /// Which optical references the encoder has.
    enum ZeroTopology : std::uint32_t {
        ZTOPO_UNKNOWN = 0,
        ZTOPO_L1 = 1, ///< linear encoder, one reference
        ZTOPO_L2 = 2, ///< linear encoder, two references
        ZTOPO_R1 = 3  ///< rotary encoder, one reference
    };

    /// Stands for an integer that a definition doesn't have; its negative for an upper bound.
    static constexpr std::int32_t BAD_INTEGER = 1234567890;
    /// The same for floats.
    static constexpr float BAD_FLOAT = -1.0F;

    /// The tables: what a definition writes, and the name under which scripts know it.
    static constexpr gprotocol::EnumRow MOTION_TYPES[] = {
        {MOTION_UNKNOWN, "?MOTION?", "UNKNOWN"},
        {MOTION_TRANSLATION, "TRANSLATION", "TRANSLATION"},
        {MOTION_ROTATION, "ROTATION", "ROTATION"}};
    static constexpr gprotocol::EnumRow UNITS[] = {{UNIT_UNKNOWN, "?UNIT?", "UNKNOWN"},
                                                   {UNIT_MILLIMETER, "mm", "MILLIMETER"},
                                                   {UNIT_RADIAN, "rad", "RADIAN"}};
    static constexpr gprotocol::EnumRow ZERO_TOPOLOGIES[] = {{ZTOPO_UNKNOWN, "?TOPO?", "UNKNOWN"},
                                                             {ZTOPO_L1, "L1", "L1"},
                                                             {ZTOPO_L2, "L2", "L2"},
                                                             {ZTOPO_R1, "R1", "R1"}};

    MechanicalActuator(const MechanicalActuator&) = delete;
    MechanicalActuator& operator=(const MechanicalActuator&) = delete;

    /// The number of the axis in its section's name, which the index of the actuator may differ
    /// from.
    unsigned address() const;
    /// Never null.
    const char* name() const;
    MotionType motionType() const;
    Unit unit() const;
    ZeroTopology zeroTopology() const;
    /// "TRANSLATION" ...; "?MOTION?".
    const char* motionName() const;
    /// "mm" ...; "?UNIT?".
    const char* unitName() const;
    /// The range, relative to the origin [step].
    int lowerBound() const;
    int upperBound() const;
    /// [step]
    unsigned movingTolerance() const;
    unsigned targetTolerance() const;
    /// Whether the origin is known. One at the absolute position 0 reads as unknown.
    bool isOriginFound() const;

    /// The number of optical references.
    unsigned zeroCount() const;
    /// The middle of the range, relative to the origin [step].
    int center() const;
    /// The length of the range [step].
    unsigned fullDistance() const;
    /// The time over a distance [ms] at the greatest or at the default speed. Before a definition
    /// was read, `ERR_MECH_NO_CONFIG`.
    unsigned minDelayForRange() const;
    unsigned minDelayForDistance(unsigned distance) const;
    unsigned defaultDelayForDistance(unsigned distance) const;

    /// `ERR_MECH_NO_ORIGIN` while the origin isn't known.
    int relativePosition(unsigned absolute) const;
    unsigned absolutePosition(int relative) const;

    /// Between the actuator's unit (millimetre or radian) and steps, rounded to the nearest.
    int unitToStep(float value) const;
    float stepToUnit(int steps) const;

private:
    friend class LowLevelMechanicsPrivate;
    friend struct MechanicalDefinition;
    friend struct std::default_delete<MechanicalActuator>;
    friend struct TestPeer;

    explicit MechanicalActuator(unsigned address);
    ~MechanicalActuator();

    /// Takes everything from a section [AxisN] and its two sub-sections. False, after a log line,
    /// for the first requirement that isn't met; the actuator is then as it was. The review, if
    /// there is one, is told of all of them.
    bool init(const ConfigSection& section, DefinitionReview* review);
    OriginParams& originParameters() const;
    void clearOrigin() const;

    std::unique_ptr<MechanicalActuatorData> m_data;
};

} // namespace fus
