#include "fus/Mechanics.h"

namespace fus {

Mechanics::Mechanics(LowLevelMechanics& lowLevel) : m_lowLevel(lowLevel) {}

bool Mechanics::loadDefinition(const char* filename) {
    return m_lowLevel.loadDefinition(filename);
}

bool Mechanics::loadDefinitionString(const char* text) {
    return m_lowLevel.loadDefinitionString(text);
}

void Mechanics::clearDefinition() {
    m_lowLevel.clearDefinition();
}

bool Mechanics::isDefinitionLoaded() const {
    return m_lowLevel.isDefinitionLoaded();
}

bool Mechanics::sendConfig(bool force) {
    return m_lowLevel.sendConfig(force);
}

bool Mechanics::isConfigSent() const {
    return m_lowLevel.isConfigSent();
}

unsigned Mechanics::getActuatorCount() const {
    return m_lowLevel.getActuatorCount();
}

unsigned Mechanics::getMaxActuatorCount() const {
    return m_lowLevel.getMaxActuatorCount();
}

unsigned Mechanics::getMaxDisplacementSize() const {
    return m_lowLevel.getMaxDisplacementSize();
}

unsigned Mechanics::getProtocolVersion() const {
    return m_lowLevel.getProtocolVersion();
}

const MechanicalActuator& Mechanics::getActuator(unsigned actuator) const {
    return m_lowLevel.getActuator(actuator);
}

bool Mechanics::isActuatorOriginFound(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->isOriginFound();
}

unsigned Mechanics::getActuatorAddress(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->address();
}

const char* Mechanics::getActuatorName(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->name();
}

MechanicalActuator::MotionType Mechanics::getActuatorMotionType(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->motionType();
}

const char* Mechanics::getActuatorMotionName(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->motionName();
}

MechanicalActuator::Unit Mechanics::getActuatorUnit(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->unit();
}

const char* Mechanics::getActuatorUnitName(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->unitName();
}

MechanicalActuator::ZeroTopology Mechanics::getActuatorZeroTopology(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->zeroTopology();
}

unsigned Mechanics::getActuatorZeroCount(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->zeroCount();
}

int Mechanics::getActuatorLowerBound(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->lowerBound();
}

int Mechanics::getActuatorUpperBound(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->upperBound();
}

unsigned Mechanics::getActuatorTargetTolerance(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->targetTolerance();
}

unsigned Mechanics::getActuatorMovingTolerance(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->movingTolerance();
}

int Mechanics::getActuatorUnitToStep(unsigned actuator, float value) const {
    return m_lowLevel.holdActuator(actuator)->unitToStep(value);
}

float Mechanics::getActuatorStepToUnit(unsigned actuator, int steps) const {
    return m_lowLevel.holdActuator(actuator)->stepToUnit(steps);
}

int Mechanics::getActuatorRelativePosition(unsigned actuator, unsigned absolute) const {
    return m_lowLevel.holdActuator(actuator)->relativePosition(absolute);
}

unsigned Mechanics::getActuatorAbsolutePosition(unsigned actuator, int relative) const {
    return m_lowLevel.holdActuator(actuator)->absolutePosition(relative);
}

unsigned Mechanics::getActuatorMinDelayForRange(unsigned actuator) const {
    return m_lowLevel.holdActuator(actuator)->minDelayForRange();
}

unsigned Mechanics::getActuatorMinDelayForDistance(unsigned actuator, unsigned distance) const {
    return m_lowLevel.holdActuator(actuator)->minDelayForDistance(distance);
}

unsigned Mechanics::getActuatorDefaultDelayForDistance(unsigned actuator, unsigned distance) const {
    return m_lowLevel.holdActuator(actuator)->defaultDelayForDistance(distance);
}

Move Mechanics::getActuatorCenterMove(unsigned actuator) const {
    const auto axis = m_lowLevel.holdActuator(actuator);
    return {axis->center(), axis->defaultDelayForDistance(axis->fullDistance() >> 1U)};
}

bool Mechanics::isReady() const {
    return m_lowLevel.isAllOriginsFound();
}

bool Mechanics::isAllOriginsFound() const {
    return m_lowLevel.isAllOriginsFound();
}

bool Mechanics::isOriginFound(unsigned actuator) {
    return m_lowLevel.isOriginFound(actuator);
}

void Mechanics::findAllOrigins(bool force) {
    m_lowLevel.findAllOrigins(force);
}

void Mechanics::findOrigin(unsigned actuator, unsigned timeout_ms, unsigned char firstDAC,
                           unsigned char maxDAC, unsigned char stepDAC, bool park) {
    m_lowLevel.findOrigin(actuator, timeout_ms, firstDAC, maxDAC, stepDAC, park);
}

void Mechanics::clearOrigin(unsigned actuator) {
    m_lowLevel.clearOrigin(actuator);
}

void Mechanics::clearAllOrigins() {
    m_lowLevel.clearAllOrigins();
}

void Mechanics::clearDisplacement() {
    m_lowLevel.clearDisplacement();
}

void Mechanics::sendDisplacement(const MechanicalDisplacement& displacement) {
    m_lowLevel.sendDisplacement(displacement);
}

unsigned Mechanics::executeDisplacement(unsigned execCount, unsigned execDelay_ms,
                                        unsigned timeout_ms) {
    return m_lowLevel.executeDisplacement(execCount, execDelay_ms, timeout_ms);
}

unsigned Mechanics::prepareDisplacement(unsigned execCount, unsigned execDelay_ms) {
    return m_lowLevel.prepareDisplacement(execCount, execDelay_ms);
}

unsigned Mechanics::moveActuatorTo(unsigned actuator, int position, unsigned duration_ms) {
    return m_lowLevel.moveActuatorTo(actuator, position, duration_ms);
}

unsigned Mechanics::moveTo(const MechanicalDisplacement& displacement) {
    return m_lowLevel.moveTo(displacement);
}

unsigned Mechanics::rawMoveSomeTime(unsigned actuator, unsigned duration_ms, unsigned dac) {
    return m_lowLevel.rawMoveSomeTime(actuator, duration_ms, dac);
}

unsigned Mechanics::rawMoveSomeSteps(unsigned actuator, unsigned steps, unsigned dac,
                                     unsigned timeout_ms) {
    return m_lowLevel.rawMoveSomeSteps(actuator, steps, dac, timeout_ms);
}

void Mechanics::stop() {
    m_lowLevel.stop();
}

int Mechanics::readActuatorPosition(unsigned actuator) {
    return m_lowLevel.readActuatorPosition(actuator);
}

unsigned Mechanics::readAbsoluteActuatorPosition(unsigned actuator) {
    return m_lowLevel.readAbsoluteActuatorPosition(actuator);
}

unsigned Mechanics::readIntParameter(unsigned actuator, mprotocol::MechParam param) {
    return m_lowLevel.readIntParameter(actuator, param);
}

float Mechanics::readFloatParameter(unsigned actuator, mprotocol::MechParam param) {
    return m_lowLevel.readFloatParameter(actuator, param);
}

void Mechanics::setIntParameter(unsigned actuator, mprotocol::MechParam param, unsigned value) {
    m_lowLevel.setIntParameter(actuator, param, value);
}

void Mechanics::setFloatParameter(unsigned actuator, mprotocol::MechParam param, float value) {
    m_lowLevel.setFloatParameter(actuator, param, value);
}

unsigned Mechanics::getLastAsyncError(unsigned actuator) {
    return m_lowLevel.getLastAsyncError(actuator);
}

MechanicalStatus Mechanics::readStatus() {
    return m_lowLevel.readStatus();
}

void Mechanics::logHistory(unsigned actuator) {
    m_lowLevel.logHistory(actuator);
}

void Mechanics::logAllHistory() {
    m_lowLevel.logAllHistory();
}

} // namespace fus
