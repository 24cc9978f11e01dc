#include "fus/MechanicalActuator.h"

#include "fus/P_LogMacros.h"
#include "fus/P_MechanicalActuatorData.h"
#include "fus/Utilities.h"

namespace fus {

namespace {

/// By topology.
constexpr unsigned ZERO_COUNTS[] = {0, 1, 2, 1};

/// [ms] In single precision on purpose: boards and older tools compute it so.
unsigned delayFor(unsigned distance, float speed) {
    if (speed == 0) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
    constexpr float MS_PER_SECOND = 1000.0F;
    return static_cast<unsigned>(
        roundedFloat(static_cast<float>(distance) * MS_PER_SECOND / speed));
}

float requireStepSize(float stepSize) {
    if (stepSize == 0) {
        FUS_THROW_MSG(ERR_MECH_NO_CONFIG, "No mechanical configuration loaded for this actuator");
    }
    return stepSize;
}

unsigned requireOrigin(const MechanicalActuatorData& data) {
    const unsigned origin = data.originParams.origin;
    if (origin == 0) {
        FUS_THROW_MSG(ERR_MECH_NO_ORIGIN, "Origin not found yet for this actuator");
    }
    return origin;
}

} // namespace

unsigned MechanicalActuatorData::zeroCount() const {
    return ZERO_COUNTS[zeroTopology];
}

MechanicalActuator::MechanicalActuator(unsigned address)
    : m_data(std::make_unique<MechanicalActuatorData>(address)) {}

MechanicalActuator::~MechanicalActuator() = default;

unsigned MechanicalActuator::address() const {
    return m_data->address;
}

const char* MechanicalActuator::name() const {
    return m_data->name.c_str();
}

MechanicalActuator::MotionType MechanicalActuator::motionType() const {
    return m_data->motionType;
}

MechanicalActuator::Unit MechanicalActuator::unit() const {
    return m_data->unit;
}

MechanicalActuator::ZeroTopology MechanicalActuator::zeroTopology() const {
    return m_data->zeroTopology;
}

const char* MechanicalActuator::motionName() const {
    return MOTION_TYPES[m_data->motionType].name;
}

const char* MechanicalActuator::unitName() const {
    return UNITS[m_data->unit].name;
}

int MechanicalActuator::lowerBound() const {
    return m_data->lowerBound;
}

int MechanicalActuator::upperBound() const {
    return m_data->upperBound;
}

unsigned MechanicalActuator::movingTolerance() const {
    return m_data->toleranceMoving;
}

unsigned MechanicalActuator::targetTolerance() const {
    return m_data->toleranceTarget;
}

bool MechanicalActuator::isOriginFound() const {
    return m_data->originParams.origin != 0;
}

unsigned MechanicalActuator::zeroCount() const {
    return m_data->zeroCount();
}

int MechanicalActuator::center() const {
    return static_cast<int>((std::int64_t{m_data->upperBound} + m_data->lowerBound) / 2);
}

unsigned MechanicalActuator::fullDistance() const {
    return static_cast<unsigned>(m_data->upperBound) - static_cast<unsigned>(m_data->lowerBound);
}

unsigned MechanicalActuator::minDelayForRange() const {
    return minDelayForDistance(fullDistance());
}

unsigned MechanicalActuator::minDelayForDistance(unsigned distance) const {
    return delayFor(distance, m_data->maxUserSpeed);
}

unsigned MechanicalActuator::defaultDelayForDistance(unsigned distance) const {
    return delayFor(distance, m_data->defaultUserSpeed);
}

int MechanicalActuator::relativePosition(unsigned absolute) const {
    return static_cast<int>(absolute - requireOrigin(*m_data));
}

unsigned MechanicalActuator::absolutePosition(int relative) const {
    return requireOrigin(*m_data) + static_cast<unsigned>(relative);
}

int MechanicalActuator::unitToStep(float value) const {
    return roundedFloat(value / requireStepSize(m_data->stepSize));
}

float MechanicalActuator::stepToUnit(int steps) const {
    return static_cast<float>(steps) * requireStepSize(m_data->stepSize);
}

OriginParams& MechanicalActuator::originParameters() const {
    return m_data->originParams;
}

void MechanicalActuator::clearOrigin() const {
    m_data->originParams.origin = 0;
}

} // namespace fus
