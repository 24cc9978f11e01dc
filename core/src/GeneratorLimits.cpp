#include "fus/Generator.h"

#include "fus/P_Connection.h"
#include "fus/P_GeneratorLimits.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"

#include <array>

namespace fus {

namespace {

using gprotocol::ElecExecMode;

/// A limit of one mode: a timing or count that the generator reports, or a value of our own.
struct Limit {
    bool reported;
    unsigned value; // the index where reported
};

constexpr Limit reported(unsigned index) {
    return {true, index};
}

constexpr Limit fixed(unsigned value) {
    return {false, value};
}

constexpr unsigned COMPOSITE_MAX_DURATION = 2000000;

/// In the order of the modes: NORMAL, QUICK, REPEAT, COMPOSITE.
using LimitRow = std::array<Limit, 4>;

constexpr LimitRow MIN_SHOOTING = {{reported(TIME_MIN_SHOOTING), reported(TIME_MIN_QUICK_SHOOTING),
                                    reported(TIME_MIN_QUICK_SHOOTING), fixed(0)}};
constexpr LimitRow MAX_SHOOTING = {{reported(TIME_MAX_SHOOTING), reported(TIME_MAX_QUICK_SHOOTING),
                                    reported(TIME_MAX_QUICK_SHOOTING),
                                    fixed(COMPOSITE_MAX_DURATION)}};
constexpr LimitRow MIN_TOTAL = {{reported(TIME_MIN_TOTAL_SHOT), reported(TIME_MIN_QUICK_TOTAL_SHOT),
                                 reported(TIME_MIN_REPEAT_TOTAL_SHOT), fixed(0)}};
constexpr LimitRow MAX_TOTAL = {{reported(TIME_MAX_TOTAL_SHOT), reported(TIME_MAX_TOTAL_SHOT),
                                 reported(TIME_MAX_TOTAL_SHOT), fixed(COMPOSITE_MAX_DURATION)}};
constexpr LimitRow MAX_DELAY = {
    {reported(TIME_MAX_TRAJECTORY_DELAY), reported(TIME_MAX_TRAJECTORY_DELAY),
     reported(TIME_MAX_REPEAT_TRAJECTORY_DELAY), reported(TIME_MAX_REPEAT_TRAJECTORY_DELAY)}};
constexpr LimitRow MAX_SIZE = {{reported(NB_MAX_TRAJECTORY_SIZE), reported(NB_MAX_TRAJECTORY_SIZE),
                                reported(NB_MAX_COMPOSITE_SHOTS),
                                reported(NB_MAX_COMPOSITE_SHOTS)}};

const Limit& limitOf(const LimitRow& row, ElecExecMode mode) {
    if (mode >= row.size()) {
        FUS_THROW(ERR_ARGUMENT);
    }
    return row[mode];
}

unsigned timingLimit(const GeneratorConfig& config, const LimitRow& row, ElecExecMode mode) {
    const Limit& limit = limitOf(row, mode);
    return limit.reported ? config.getTiming(limit.value) : limit.value;
}

} // namespace

unsigned limits::minShootingDuration(const GeneratorConfig& config, ElecExecMode mode) {
    return timingLimit(config, MIN_SHOOTING, mode);
}

unsigned limits::maxShootingDuration(const GeneratorConfig& config, ElecExecMode mode) {
    return timingLimit(config, MAX_SHOOTING, mode);
}

unsigned limits::minTotalShotDuration(const GeneratorConfig& config, ElecExecMode mode,
                                      unsigned flags) {
    if (mode == gprotocol::EXEC_ELEC_NORMAL &&
        (flags & gprotocol::EXEC_FLAG_OMIT_ALL_MEASURES) != 0) {
        return config.getTiming(TIME_MIN_QUICK_TOTAL_SHOT);
    }
    return timingLimit(config, MIN_TOTAL, mode);
}

unsigned limits::maxTotalShotDuration(const GeneratorConfig& config, ElecExecMode mode) {
    return timingLimit(config, MAX_TOTAL, mode);
}

unsigned limits::maxTrajectoryDelay(const GeneratorConfig& config, ElecExecMode mode) {
    return timingLimit(config, MAX_DELAY, mode);
}

unsigned limits::maxTrajectorySize(const GeneratorConfig& config, ElecExecMode mode) {
    const Limit& limit = limitOf(MAX_SIZE, mode);
    if (mode == gprotocol::EXEC_ELEC_REPEAT && config.protocolNumber() < PROTOCOL_V3_FULL) {
        return 1;
    }
    return config.getCount(limit.value);
}

unsigned Generator::getMinShootingDuration(ElecExecMode mode) const {
    const auto connection = m_private->upcalls.getConnection();
    return limits::minShootingDuration(connection->config(), mode);
}

unsigned Generator::getMaxShootingDuration(ElecExecMode mode) const {
    const auto connection = m_private->upcalls.getConnection();
    return limits::maxShootingDuration(connection->config(), mode);
}

unsigned Generator::getMinTotalShotDuration(ElecExecMode mode, unsigned flags) const {
    const auto connection = m_private->upcalls.getConnection();
    return limits::minTotalShotDuration(connection->config(), mode, flags);
}

unsigned Generator::getMaxTotalShotDuration(ElecExecMode mode) const {
    const auto connection = m_private->upcalls.getConnection();
    return limits::maxTotalShotDuration(connection->config(), mode);
}

unsigned Generator::getMaxTrajectoryDelay(ElecExecMode mode) const {
    const auto connection = m_private->upcalls.getConnection();
    return limits::maxTrajectoryDelay(connection->config(), mode);
}

unsigned Generator::getMaxTrajectorySize(ElecExecMode mode) const {
    const auto connection = m_private->upcalls.getConnection();
    try {
        return limits::maxTrajectorySize(connection->config(), mode);
    } catch (const FUSException&) {
        // A link that dies under the look-up still leaves the one shot that every generator takes.
        if (mode != gprotocol::EXEC_ELEC_REPEAT) {
            throw;
        }
        return 1;
    }
}

unsigned Generator::getChannelCount() const {
    return m_private->count(NB_CHANNELS);
}

unsigned Generator::getBufferCount() const {
    return m_private->count(NB_BUFFERS);
}

unsigned Generator::getChannelMeasureCount() const {
    return m_private->count(NB_AMPLIFIER_CHANNEL_MEASURES);
}

unsigned Generator::getAmplifierBoardMeasureCount() const {
    return m_private->count(NB_AMPLIFIER_BOARD_MEASURES);
}

unsigned Generator::getAmplifierCurrentCount() const {
    return m_private->count(NB_AMPLIFIER_CURRENTS);
}

unsigned Generator::getAmplifierTemperatureCount() const {
    return m_private->count(NB_AMPLIFIER_TEMPERATURES);
}

unsigned Generator::getPowerSupplyCount() const {
    return m_private->count(NB_POWER_SUPPLIES);
}

unsigned Generator::getMaxRampDuration() const {
    return m_private->timing(TIME_MAX_RAMP);
}

unsigned Generator::getMinRepeatShotDelay() const {
    return m_private->timing(TIME_MIN_REPEAT_SHOT_DELAY_NOTRIG);
}

unsigned Generator::getMinTrajectoryDelay() const {
    return m_private->timing(TIME_MIN_TRAJECTORY_DELAY);
}

bool Generator::hasMultiplexer() const {
    return m_private->upcalls.getConnection()->config().getFlag(FLAG_MULTIPLEXER);
}

bool Generator::hasTriggerInput() const {
    return m_private->upcalls.getConnection()->config().getFlag(FLAG_TRIGGER_INPUT);
}

bool Generator::hasMechanics() const {
    return m_private->count(NB_MECHANICS_BOARDS) > 0;
}

bool Generator::hasShotRamp() const {
    static constexpr Version FIRST_WITH_RAMPS{2010, 9, 11, 0};
    const auto connection = m_private->upcalls.getConnection();
    const GeneratorConfig& config = connection->config();
    return config.getTiming(TIME_MAX_RAMP) != 0 &&
           config.getVersion(VERSION_SNT_HARDWARE) >= FIRST_WITH_RAMPS;
}

bool Generator::isEnabled() const {
    return m_private->upcalls.isConnected();
}

} // namespace fus
