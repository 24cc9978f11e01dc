#include "fus/LowLevelMechanics.h"

#include "fus/FUSEvent.h"
#include "fus/P_LowLevelMechanicsPrivate.h"

#include <utility>

namespace fus {

LowLevelMechanics::LowLevelMechanics(Upcalls& upcalls)
    : m_private(std::make_unique<LowLevelMechanicsPrivate>(upcalls)) {}

LowLevelMechanics::~LowLevelMechanics() = default;

void LowLevelMechanics::cleanOnDisconnect(bool linkAlive) {
    m_private->cleanOnDisconnect(linkAlive);
}

void LowLevelMechanics::leaveConnection(bool linkAlive) {
    m_private->leaveConnection(linkAlive);
}

void LowLevelMechanics::motionEnded(std::unique_ptr<MechMotionEvent> event) {
    m_private->motionEnded(std::move(event));
}

bool LowLevelMechanics::loadDefinition(const char* filename) {
    return m_private->loadDefinition(filename);
}

bool LowLevelMechanics::loadDefinitionString(const char* text) {
    return m_private->loadDefinitionString(text);
}

void LowLevelMechanics::clearDefinition() {
    m_private->clearDefinition();
}

bool LowLevelMechanics::isDefinitionLoaded() const {
    return m_private->m_definitionLoaded;
}

unsigned LowLevelMechanics::getActuatorCount() const {
    return static_cast<unsigned>(m_private->definition()->actuators.size());
}

const MechanicalActuator& LowLevelMechanics::getActuator(unsigned index) const {
    return m_private->definition()->at(index);
}

std::shared_ptr<const MechanicalActuator> LowLevelMechanics::holdActuator(unsigned index) const {
    const auto definition = m_private->definition();
    return {definition, &definition->at(index)};
}

bool LowLevelMechanics::sendConfig(bool force) {
    return m_private->sendConfig(force);
}

std::vector<LowLevelMechanics::ConfigDifference> LowLevelMechanics::readConfigDifferences() {
    return m_private->readConfigDifferences();
}

bool LowLevelMechanics::isConfigSent() const {
    return m_private->m_configSent;
}

unsigned LowLevelMechanics::getMaxActuatorCount() const {
    return m_private->maxActuatorCount();
}

unsigned LowLevelMechanics::getMaxDisplacementSize() const {
    return m_private->maxDisplacementSize();
}

unsigned LowLevelMechanics::getProtocolVersion() const {
    return m_private->m_protocolVersion;
}

void LowLevelMechanics::setSecureMode(bool on) {
    m_private->setSecureMode(on);
}

bool LowLevelMechanics::isInSecureMode() const {
    return m_private->m_secureMode;
}

unsigned LowLevelMechanics::readIntParameter(unsigned actuator, mprotocol::MechParam param) {
    return m_private->readIntParameter(actuator, param);
}

float LowLevelMechanics::readFloatParameter(unsigned actuator, mprotocol::MechParam param) {
    return m_private->readFloatParameter(actuator, param);
}

void LowLevelMechanics::setIntParameter(unsigned actuator, mprotocol::MechParam param,
                                        unsigned value) {
    m_private->setIntParameter(actuator, param, value);
}

void LowLevelMechanics::setFloatParameter(unsigned actuator, mprotocol::MechParam param,
                                          float value) {
    m_private->setFloatParameter(actuator, param, value);
}

unsigned LowLevelMechanics::getLastAsyncError(unsigned actuator) {
    return m_private->getLastAsyncError(actuator);
}

bool LowLevelMechanics::isAllOriginsFound() const {
    return m_private->m_allOriginsFound;
}

bool LowLevelMechanics::isOriginFound(unsigned actuator) {
    return readIntParameter(actuator, mprotocol::PARAM_ORIGIN_FOUND) != 0;
}

void LowLevelMechanics::clearOrigin(unsigned actuator) {
    m_private->clearOrigin(actuator);
}

void LowLevelMechanics::clearAllOrigins() {
    m_private->clearAllOrigins();
}

void LowLevelMechanics::findOrigin(unsigned actuator, unsigned timeout_ms, unsigned char firstDAC,
                                   unsigned char maxDAC, unsigned char stepDAC, bool park) {
    m_private->findOrigin({actuator, timeout_ms, firstDAC, maxDAC, stepDAC, park});
}

void LowLevelMechanics::findAllOrigins(bool force) {
    m_private->findAllOrigins(force);
}

void LowLevelMechanics::clearDisplacement() {
    m_private->clearDisplacement();
}

void LowLevelMechanics::sendDisplacement(const MechanicalDisplacement& displacement) {
    m_private->sendDisplacement(displacement);
}

unsigned LowLevelMechanics::executeDisplacement(unsigned execCount, unsigned execDelay_ms,
                                                unsigned timeout_ms) {
    return m_private->executeDisplacement(execCount, execDelay_ms, timeout_ms);
}

unsigned LowLevelMechanics::prepareDisplacement(unsigned execCount, unsigned execDelay_ms) {
    return m_private->prepareDisplacement(execCount, execDelay_ms);
}

unsigned LowLevelMechanics::moveActuatorTo(unsigned actuator, int position, unsigned duration_ms) {
    return m_private->moveActuatorTo(actuator, position, duration_ms);
}

unsigned LowLevelMechanics::moveTo(const MechanicalDisplacement& displacement) {
    return m_private->moveTo(displacement);
}

unsigned LowLevelMechanics::rawMoveSomeTime(unsigned actuator, unsigned duration_ms, unsigned dac) {
    return m_private->rawMoveSomeTime(actuator, duration_ms, dac);
}

unsigned LowLevelMechanics::rawMoveSomeSteps(unsigned actuator, unsigned steps, unsigned dac,
                                             unsigned timeout_ms) {
    return m_private->rawMoveSomeSteps(actuator, steps, dac, timeout_ms);
}

void LowLevelMechanics::stop() {
    m_private->stop();
}

MechanicalStatus LowLevelMechanics::readStatus() {
    return m_private->readStatus();
}

HardwareCode LowLevelMechanics::getIndirectErrorAndLog() {
    return m_private->getIndirectErrorAndLog();
}

unsigned LowLevelMechanics::readAbsoluteActuatorPosition(unsigned actuator) {
    return m_private->readAbsoluteActuatorPosition(actuator);
}

int LowLevelMechanics::readActuatorPosition(unsigned actuator) {
    return m_private->readActuatorPosition(actuator);
}

void LowLevelMechanics::logHistory(unsigned actuator) {
    m_private->logHistory(actuator);
}

void LowLevelMechanics::logAllHistory() {
    m_private->logAllHistory();
}

} // namespace fus
