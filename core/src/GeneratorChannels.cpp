// What the generator has several of: amplifiers, power supplies, channels, peripherals.

#include "fus/Generator.h"

#include "fus/FloatArray.h"
#include "fus/Mask1D.h"
#include "fus/P_GeneratorParameters.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <cstdio>
#include <string>

namespace fus {

namespace {

using namespace gprotocol;

bool isV3(const Connection& connection) {
    return connection.config().protocolNumber() >= PROTOCOL_V3_PARAMETERS;
}

unsigned requireMeasure(const GeneratorConfig& config, const AmplifierQuantity& quantity) {
    const unsigned measure = config.findMeasure(HWID_AMPLIFIER, quantity.measure);
    if (measure == NB_NOT_FOUND_MEASURE) {
        FUS_THROW(ERR_NOT_AVAILABLE);
    }
    return measure;
}

[[noreturn]] void refuseThreshold(const AmplifierQuantity& quantity, std::size_t index,
                                  float value) {
    char number[32];
    std::snprintf(number, sizeof number, "%g", static_cast<double>(value));
    FUS_THROW_MSG(ERR_ARGUMENT, quantity.subject + (" threshold[" + std::to_string(index)) +
                                    "] is out of range (" + number + ").");
}

void checkThresholds(const AmplifierQuantity& quantity, const GeneratorConfig& config,
                     const FloatArray& values) {
    if (values.size() != config.getCount(quantity.count)) {
        FUS_THROW(ERR_ARGUMENT);
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
        const float value = values.get(i);
        // so that a NaN passes
        if (value < MIN_AMPLIFIER_THRESHOLD || value > MAX_AMPLIFIER_THRESHOLD) {
            refuseThreshold(quantity, i, value);
        }
    }
}

NetPacket channelStates(const Mask1D& mask, NetPacket payload) {
    payload.write16(static_cast<std::uint16_t>(mask.size()));
    for (std::size_t i = 0; i < mask.size(); ++i) {
        payload.write8(mask.get(i) ? 1 : 0);
    }
    return payload;
}

std::unique_ptr<NetPacket> askChannelStates(Connection& connection) {
    if (!isV3(connection)) {
        return parameters::ask(connection, GPARAM_CHANNELS_STATE);
    }
    const unsigned id = connection.sendCommand(CMD_CHANNEL_STATE, nullptr, 0);
    return connection.awaitAnswer(id, ANSWER_CHANNEL_STATE);
}

void requirePeripheral(unsigned peripheral) {
    if (peripheral >= PERIPHERAL_COUNT) {
        FUS_THROW(ERR_ARGUMENT);
    }
}

std::uint16_t peripheralParam(unsigned peripheral) {
    requirePeripheral(peripheral);
    return PERIPHERAL_PARAMS[peripheral];
}

bool readPeripheral(Connection& connection, unsigned peripheral) {
    if (isV3(connection)) {
        return connection.readBoardParam(HWID_PROCESSOR, 0, peripheralParam(peripheral)) != 0;
    }
    const auto number = static_cast<unsigned char>(peripheral);
    NetPacket payload = parameters::makePayload(GPARAM_PERIPHERAL_STATE, 1);
    payload.write8(number);
    const auto answer = parameters::ask(connection, GPARAM_PERIPHERAL_STATE, payload);
    parameters::requireBytes(answer.get(), 2);
    if (answer->read8() != number) {
        FUS_THROW(ERR_PACKET);
    }
    return answer->read8() != 0;
}

void writePeripheral(Connection& connection, unsigned peripheral, bool state) {
    if (isV3(connection)) {
        connection.writeBoardParam(HWID_PROCESSOR, 0, peripheralParam(peripheral), state ? 1 : 0);
        return;
    }
    NetPacket payload = parameters::makePayload(GPARAM_PERIPHERAL_STATE, 2);
    payload.write8(static_cast<unsigned char>(peripheral));
    payload.write8(state ? 1 : 0);
    parameters::tell(connection, payload);
}

} // namespace

void Generator::Private::readAmplifiers(const AmplifierQuantity& quantity, FloatArray& values,
                                        bool isMax) const {
    FUS_LOG(INFO, "Read amplifier %s (isMax=%d)", quantity.plural, isMax);
    const auto connection = upcalls.getConnection();
    const GeneratorConfig& config = connection->config();
    if (secure && config.getCount(quantity.count) == 0) {
        FUS_THROW(ERR_NOT_AVAILABLE);
    }
    if (!isV3(*connection)) {
        parameters::readValues(*connection, isMax ? quantity.maxParam : quantity.param,
                               quantity.form, values);
        return;
    }
    const unsigned measure = requireMeasure(config, quantity);
    if (isMax) {
        connection->readAllBoardsThresholds(HWID_AMPLIFIER, measure, true, values, false);
    } else {
        connection->readAllBoardsMeasures(HWID_AMPLIFIER, measure, values, false);
    }
}

void Generator::Private::setMaxAmplifiers(const AmplifierQuantity& quantity,
                                          const FloatArray& values) const {
    FUS_LOG(INFO, "Set amplifier max %s", quantity.plural);
    const auto connection = upcalls.getConnection();
    const GeneratorConfig& config = connection->config();
    if (secure) {
        checkThresholds(quantity, config, values);
    }
    if (isV3(*connection)) {
        const unsigned measure = requireMeasure(config, quantity);
        connection->setAllBoardsThreshold(HWID_AMPLIFIER, measure, true, values, false);
    } else {
        parameters::writeValues(*connection, quantity.maxParam, quantity.form, values);
    }
}

void Generator::readAmplifierTemperatures(FloatArray& values, bool isMax) {
    m_private->readAmplifiers(AMPLIFIER_TEMPERATURE, values, isMax);
}

void Generator::setMaxAmplifierTemperatures(const FloatArray& values) {
    m_private->setMaxAmplifiers(AMPLIFIER_TEMPERATURE, values);
}

void Generator::readAmplifierCurrents(FloatArray& values, bool isMax) {
    m_private->readAmplifiers(AMPLIFIER_CURRENT, values, isMax);
}

void Generator::setMaxAmplifierCurrents(const FloatArray& values) {
    m_private->setMaxAmplifiers(AMPLIFIER_CURRENT, values);
}

void Generator::readPowerSupplies(FloatArray& values) {
    FUS_LOG(INFO, "Read power supplies");
    const auto connection = m_private->upcalls.getConnection();
    if (isV3(*connection)) {
        connection->readBoardMeasures(HWID_PROCESSOR, 0, values, false);
        return;
    }
    parameters::readValues(*connection, GPARAM_POWER_SUPPLIES, VOLTAGE_FORM, values);
    for (std::size_t i = 0; i < values.size(); ++i) {
        FUS_LOG(VERBOSE, "measure[%d]= %g", static_cast<int>(i),
                static_cast<double>(values.get(i)));
    }
}

void Generator::readChannelsState(Mask1D& mask) {
    FUS_LOG(INFO, "Read channels state");
    const auto connection = m_private->upcalls.getConnection();
    const auto answer = askChannelStates(*connection);
    parameters::requireBytes(answer.get(), 2);
    const unsigned count = answer->read16();
    if ((m_private->secure && count != connection->config().getCount(NB_CHANNELS)) ||
        count > MAX_STATE_CHANNELS) {
        FUS_THROW(ERR_PACKET);
    }
    parameters::requireBytes(answer.get(), count);
    mask.resize(count, Mask1D::ResizeExistingParam::LOST, Mask1D::ResizeExtraParam::SET_0);
    for (unsigned i = 0; i < count; ++i) {
        mask.set(i, answer->read8() != 0);
    }
    FUS_LOG(INFO, "  %d / %d active channels", static_cast<int>(mask.activeCount()), count);
}

void Generator::setChannelsState(const Mask1D& mask) {
    FUS_LOG(INFO, "Set channels state (%d active / %d)", static_cast<int>(mask.activeCount()),
            static_cast<int>(mask.size()));
    const auto connection = m_private->upcalls.getConnection();
    if (m_private->secure && mask.size() != connection->config().getCount(NB_CHANNELS)) {
        FUS_THROW(ERR_ARGUMENT);
    }
    const auto size = static_cast<unsigned>(2 + mask.size());
    if (isV3(*connection)) {
        const NetPacket payload = channelStates(mask, NetPacket(size));
        connection->awaitAnswer(connection->sendCommand(CMD_CHANNEL_STATE, payload), ANSWER_OK);
    } else {
        parameters::tell(*connection,
                         channelStates(mask, parameters::makePayload(GPARAM_CHANNELS_STATE, size)));
    }
}

bool Generator::readPeripheralState(unsigned peripheral) {
    if (m_private->secure) {
        requirePeripheral(peripheral);
    }
    const bool state = readPeripheral(*m_private->upcalls.getConnection(), peripheral);
    FUS_LOG(INFO, "Read peripheral state (periph=%d): %d", peripheral, state);
    return state;
}

void Generator::setPeripheralState(unsigned peripheral, bool state) {
    if (m_private->secure) {
        requirePeripheral(peripheral);
    }
    FUS_LOG(INFO, "Set peripheral state (periph=%d, state=%d)", peripheral, state);
    writePeripheral(*m_private->upcalls.getConnection(), peripheral, state);
}

} // namespace fus
