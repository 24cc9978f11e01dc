// Settings of one number, by the table of settings, and the commands that stand alone.

#include "fus/Generator.h"

#include "fus/P_GeneratorParameters.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <algorithm>
#include <iterator>

namespace fus {

namespace {

using namespace gprotocol;

const SettingRow& rowOf(Setting setting) {
    return SETTINGS[setting];
}

void logNumber(const char* before, unsigned value, const char* after) {
    if (before != nullptr) {
        FUS_LOG(INFO, "%s%d%s", before, value, after);
    }
}

void requireByte(unsigned value) {
    if (value > 255) {
        FUS_THROW(ERR_ARGUMENT);
    }
}

bool isClockFrequency(unsigned hz) {
    return std::find(std::begin(CLOCK_FREQUENCIES), std::end(CLOCK_FREQUENCIES), hz) !=
           std::end(CLOCK_FREQUENCIES);
}

/// The checks of secure mode; ERR_ARGUMENT.
void checkLimit(SettingLimit limit, const GeneratorConfig& config, unsigned value) {
    if (limit == LIMIT_MIN_HEARTBEAT && value != 0 &&
        value < config.getTiming(TIME_MIN_HEARTBEAT_TIMEOUT)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Heart-beat timeout too low.");
    }
    if ((limit == LIMIT_MAX_RAMP && value > config.getTiming(TIME_MAX_RAMP)) ||
        (limit == LIMIT_CLOCK && !isClockFrequency(value))) {
        FUS_THROW(ERR_ARGUMENT);
    }
}

/// The multiplexer has no other way, the clock and the tolerances no such one.
bool goesByParameter(const Connection& connection, const SettingRow& row) {
    return row.boardParam == BPARAM_NONE ||
           (row.form != FORM_NONE && connection.config().protocolNumber() < PROTOCOL_V3_PARAMETERS);
}

unsigned readFrom(Connection& connection, const SettingRow& row) {
    if (!goesByParameter(connection, row)) {
        return static_cast<unsigned>(connection.readBoardParam(HWID_PROCESSOR, 0, row.boardParam));
    }
    return row.form == FORM_BYTE ? connection.readGeneratorParameter(row.param)
                                 : parameters::readPaddedLong(connection, row.param);
}

void writeTo(Connection& connection, const SettingRow& row, unsigned value) {
    if (!goesByParameter(connection, row)) {
        connection.writeBoardParam(HWID_PROCESSOR, 0, row.boardParam, value);
    } else if (row.form == FORM_BYTE) {
        connection.writeGeneratorParameter(row.param, static_cast<unsigned char>(value));
    } else {
        parameters::writePaddedLong(connection, row.param, value);
    }
}

unsigned sendNumber(Connection& connection, unsigned short command, unsigned value) {
    NetPacket payload(4);
    payload.write32(value);
    return connection.sendCommand(command, payload);
}

} // namespace

std::shared_ptr<Connection> Generator::Private::connectionSinceV3() const {
    auto connection = upcalls.getConnection();
    if (secure && connection->config().protocolNumber() < PROTOCOL_V3_PARAMETERS) {
        FUS_THROW(ERR_PROTOCOL);
    }
    return connection;
}

unsigned Generator::Private::readSetting(Setting setting) const {
    const SettingRow& row = rowOf(setting);
    if (row.readLine != nullptr) {
        FUS_LOG(INFO, "%s", row.readLine);
    }
    const auto connection = row.needsV3 ? connectionSinceV3() : upcalls.getConnection();
    const unsigned value = readFrom(*connection, row);
    logNumber(row.valueBefore, value, row.valueAfter);
    return value;
}

void Generator::Private::writeSetting(Setting setting, unsigned value) const {
    const SettingRow& row = rowOf(setting);
    logNumber(row.setBefore, value, row.setAfter);
    if (row.limit == LIMIT_BYTE) {
        requireByte(value);
    }
    const auto connection = row.needsV3 ? connectionSinceV3() : upcalls.getConnection();
    if (secure) {
        checkLimit(row.limit, connection->config(), value);
    }
    writeTo(*connection, row, value);
}

void Generator::setHeartBeatTimeout(unsigned timeout_us) {
    m_private->writeSetting(SETTING_HEARTBEAT_TIMEOUT, timeout_us);
}

unsigned Generator::readHeartBeatTimeout() {
    return m_private->readSetting(SETTING_HEARTBEAT_TIMEOUT);
}

void Generator::sendHeartBeat() {
    FUS_LOG(INFO, "Send an heart-beat");
    m_private->connectionSinceV3()->sendCommand(CMD_SEND_HEARTBEAT, nullptr, 0);
}

void Generator::readMultiplexerValue(unsigned& value) {
    value = m_private->readSetting(SETTING_MULTIPLEXER);
}

void Generator::setMultiplexerValue(unsigned value) {
    requireByte(value); // here ahead of the log line, unlike everywhere else
    m_private->writeSetting(SETTING_MULTIPLEXER, value);
}

void Generator::readAmplitudeThreshold(unsigned char& value) {
    value = static_cast<unsigned char>(m_private->readSetting(SETTING_AMPLITUDE_THRESHOLD));
}

void Generator::setAmplitudeThreshold(unsigned value) {
    m_private->writeSetting(SETTING_AMPLITUDE_THRESHOLD, value);
}

void Generator::readOutCurrentThreshold(unsigned char& value) {
    value = static_cast<unsigned char>(m_private->readSetting(SETTING_OUT_CURRENT_THRESHOLD));
}

void Generator::setOutCurrentThreshold(unsigned value) {
    m_private->writeSetting(SETTING_OUT_CURRENT_THRESHOLD, value);
}

unsigned Generator::readShotRampDuration(bool start) {
    return m_private->readSetting(start ? SETTING_RAMP_START : SETTING_RAMP_END);
}

void Generator::setShotRampDuration(bool start, unsigned duration) {
    m_private->writeSetting(start ? SETTING_RAMP_START : SETTING_RAMP_END, duration);
}

unsigned Generator::readClockFrequency() {
    return m_private->readSetting(SETTING_CLOCK_FREQUENCY);
}

void Generator::setClockFrequency(unsigned hz) {
    m_private->writeSetting(SETTING_CLOCK_FREQUENCY, hz);
}

unsigned Generator::readShootingDurationTolerance() {
    return m_private->readSetting(SETTING_SHOOTING_TOLERANCE);
}

void Generator::setShootingDurationTolerance(unsigned tolerance_us) {
    m_private->writeSetting(SETTING_SHOOTING_TOLERANCE, tolerance_us);
}

unsigned Generator::readTotalShotDurationTolerance() {
    return m_private->readSetting(SETTING_TOTAL_SHOT_TOLERANCE);
}

void Generator::setTotalShotDurationTolerance(unsigned tolerance_us) {
    m_private->writeSetting(SETTING_TOTAL_SHOT_TOLERANCE, tolerance_us);
}

void Generator::enableAmplifierPowerSupplies(bool state) {
    FUS_LOG(INFO, "enableAmplifierPowerSupplies(%s)", state ? "true" : "false");
    const auto connection = m_private->connectionSinceV3();
    connection->awaitAnswer(sendNumber(*connection, CMD_AMPLIFIER_POWER_SUPPLY, state ? 1 : 0),
                            ANSWER_OK);
}

bool Generator::simulateTriggerInPulse() {
    FUS_LOG(INFO, "simulateTriggerInPulse");
    const auto connection = m_private->connectionSinceV3();
    try {
        const unsigned id = connection->sendCommand(CMD_TRIGGER_PULSE, nullptr, 0);
        return connection->readAnswer(id, ANSWER_OK, nullptr, TIMEOUT_DEFAULT, nullptr);
    } catch (const FUSException&) {
        return false; // the generator's way to say that the pulse had no use
    }
}

void Generator::wait(unsigned delay_us) {
    FUS_LOG(INFO, "wait(%d)", delay_us);
    const auto connection = m_private->connectionSinceV3();
    if (m_private->secure && delay_us > MAX_WAIT) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Wait delay too large.");
    }
    connection->awaitAnswer(sendNumber(*connection, CMD_WAIT, delay_us), ANSWER_OK);
}

} // namespace fus
