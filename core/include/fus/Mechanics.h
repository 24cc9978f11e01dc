#pragma once

#include "fus/Export.h"
#include "fus/LowLevelMechanics.h"
#include "fus/Move.h"

namespace fus {

/// The mechanical system as applications see it. Every operation does what the one of the same name
/// does in `LowLevelMechanics`, under the same conditions, and is described there.
class FUS_API Mechanics {
public:
    Mechanics(const Mechanics&) = delete;
    Mechanics& operator=(const Mechanics&) = delete;

    // --- definition and configuration ------------------------------------------------------------

    bool loadDefinition(const char* filename);
    bool loadDefinitionString(const char* text);
    void clearDefinition();
    bool isDefinitionLoaded() const;
    bool sendConfig(bool force);
    bool isConfigSent() const;
    unsigned getActuatorCount() const;
    unsigned getMaxActuatorCount() const;
    unsigned getMaxDisplacementSize() const;
    unsigned getProtocolVersion() const;

    // --- actuators -------------------------------------------------------------------------------

    /// Lives until a definition is cleared or loaded.
    const MechanicalActuator& getActuator(unsigned actuator) const;

    // The same with the operation of `MechanicalActuator`: `ERR_INDEX` for a bad index. They may be
    // called while another thread clears or loads a definition; the name lives as long as the
    // actuator.
    bool isActuatorOriginFound(unsigned actuator) const;
    unsigned getActuatorAddress(unsigned actuator) const;
    const char* getActuatorName(unsigned actuator) const;
    MechanicalActuator::MotionType getActuatorMotionType(unsigned actuator) const;
    const char* getActuatorMotionName(unsigned actuator) const;
    MechanicalActuator::Unit getActuatorUnit(unsigned actuator) const;
    const char* getActuatorUnitName(unsigned actuator) const;
    MechanicalActuator::ZeroTopology getActuatorZeroTopology(unsigned actuator) const;
    unsigned getActuatorZeroCount(unsigned actuator) const;
    int getActuatorLowerBound(unsigned actuator) const;
    int getActuatorUpperBound(unsigned actuator) const;
    unsigned getActuatorTargetTolerance(unsigned actuator) const;
    unsigned getActuatorMovingTolerance(unsigned actuator) const;
    int getActuatorUnitToStep(unsigned actuator, float value) const;
    float getActuatorStepToUnit(unsigned actuator, int steps) const;
    int getActuatorRelativePosition(unsigned actuator, unsigned absolute) const;
    unsigned getActuatorAbsolutePosition(unsigned actuator, int relative) const;
    unsigned getActuatorMinDelayForRange(unsigned actuator) const;
    unsigned getActuatorMinDelayForDistance(unsigned actuator, unsigned distance) const;
    unsigned getActuatorDefaultDelayForDistance(unsigned actuator, unsigned distance) const;
    /// To the centre of the range, in the time for half of it at the default speed.
    Move getActuatorCenterMove(unsigned actuator) const;

    // --- origins ---------------------------------------------------------------------------------

    /// All origins are found.
    bool isReady() const;
    bool isAllOriginsFound() const;
    bool isOriginFound(unsigned actuator);
    void findAllOrigins(bool force);
    void findOrigin(unsigned actuator, unsigned timeout_ms, unsigned char firstDAC,
                    unsigned char maxDAC, unsigned char stepDAC, bool park);
    void clearOrigin(unsigned actuator);
    void clearAllOrigins();

    // --- motion ----------------------------------------------------------------------------------

    void clearDisplacement();
    void sendDisplacement(const MechanicalDisplacement& displacement);
    unsigned executeDisplacement(unsigned execCount, unsigned execDelay_ms, unsigned timeout_ms);
    unsigned prepareDisplacement(unsigned execCount, unsigned execDelay_ms);
    unsigned moveActuatorTo(unsigned actuator, int position, unsigned duration_ms);
    unsigned moveTo(const MechanicalDisplacement& displacement);
    unsigned rawMoveSomeTime(unsigned actuator, unsigned duration_ms, unsigned dac);
    unsigned rawMoveSomeSteps(unsigned actuator, unsigned steps, unsigned dac, unsigned timeout_ms);
    void stop();

    // --- parameters and diagnosis ----------------------------------------------------------------

    int readActuatorPosition(unsigned actuator);
    unsigned readAbsoluteActuatorPosition(unsigned actuator);
    unsigned readIntParameter(unsigned actuator, mprotocol::MechParam param);
    float readFloatParameter(unsigned actuator, mprotocol::MechParam param);
    void setIntParameter(unsigned actuator, mprotocol::MechParam param, unsigned value);
    void setFloatParameter(unsigned actuator, mprotocol::MechParam param, float value);
    unsigned getLastAsyncError(unsigned actuator);
    MechanicalStatus readStatus();
    void logHistory(unsigned actuator);
    void logAllHistory();

private:
    friend class FUS;

    explicit Mechanics(LowLevelMechanics& lowLevel);

    LowLevelMechanics& m_lowLevel;
};

} // namespace fus
