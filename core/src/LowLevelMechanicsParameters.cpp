// How a mechanical command is sent and its answer read, and the parameters of the board.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/FUSEvent.h"
#include "fus/P_Connection.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace fus {

using mprotocol::MechCommand;
using mprotocol::MechParam;

namespace {

constexpr unsigned PARAM_CEILING = 29; // one more than there are, and so it is known

} // namespace

// --- the board -----------------------------------------------------------------------------------

unsigned LowLevelMechanicsPrivate::sendCommand(unsigned time, MechCommand command,
                                               const NetPacket& data) {
    const mprotocol::MechCommandRow& row = mprotocol::mechCommandFromIndex(command);
    if (m_secureMode) {
        if (m_upcalls.getConnection()->config().getCount(NB_MECHANICS_BOARDS) == 0) {
            FUS_THROW_MSG(ERR_MECHANICS, "No mechanical system");
        }
        if (row.needsOrigins) {
            requireConfigured();
            requireOriginsFound();
        }
    }
    return m_upcalls.getConnection()->sendBoardCommand(gprotocol::HWID_MECHANICS, MOT_ADDRESS, time,
                                                       row.id, data);
}

unsigned LowLevelMechanicsPrivate::waitAnswer(unsigned id, MechCommand command, NetPacket& data,
                                              unsigned timeout) {
    const mprotocol::MechCommandRow& row = mprotocol::mechCommandFromIndex(command);
    if (m_secureMode && row.needsOrigins) {
        requireConfigured();
    }
    return m_upcalls.getConnection()->readBoardAnswer(gprotocol::HWID_MECHANICS, MOT_ADDRESS, id,
                                                      row.id, data, timeout);
}

void LowLevelMechanicsPrivate::waitEmptyAnswer(unsigned id, MechCommand command, unsigned timeout) {
    NetPacket nothing;
    if (waitAnswer(id, command, nothing, timeout) != 0) {
        FUS_THROW(ERR_MECHANICS);
    }
}

unsigned LowLevelMechanicsPrivate::sendAndCheck(MechCommand command, const NetPacket& data) {
    const unsigned id = sendCommand(0, command, data);
    waitEmptyAnswer(id, command, TIMEOUT_DEFAULT);
    return id;
}

unsigned LowLevelMechanicsPrivate::startMotion(unsigned time, MechCommand command,
                                               const NetPacket& data, unsigned execCount) {
    const unsigned id = sendCommand(time, command, data);
    waitEmptyAnswer(id, command, TIMEOUT_DEFAULT);
    m_upcalls.notifyListeners(new ExecStartEvent(id, execCount, 0, gprotocol::EXEC_ELEC_NONE,
                                                 gprotocol::EXEC_TRIGGER_IGNORED,
                                                 gprotocol::EXEC_MECH_CONTINUE));
    return id;
}

unsigned LowLevelMechanicsPrivate::simulatorTime(unsigned time, unsigned factor) {
    if (!m_upcalls.isConnected() ||
        m_upcalls.getConnection()->config().generatorType() != gprotocol::GEN_SIMULATOR) {
        return time;
    }
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint32_t>::max();
    return static_cast<unsigned>(std::min(std::uint64_t{time} * factor, MOST));
}

void LowLevelMechanicsPrivate::requireConfigSent() const {
    if (!m_configSent) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
}

void LowLevelMechanicsPrivate::requireConfigured() const {
    if (!m_configSent && !m_configuring) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
}

void LowLevelMechanicsPrivate::requireOriginsFound() const {
    if (!m_allOriginsFound) {
        FUS_THROW(ERR_MECH_NO_ORIGIN);
    }
}

void LowLevelMechanicsPrivate::requireNoSearch() const {
    const MutexLocker lock(m_mutex);
    if (m_originThread != nullptr) {
        FUS_THROW(ERR_MECH_ORIGINS_BUSY);
    }
}

// --- parameters ----------------------------------------------------------------------------------

void LowLevelMechanicsPrivate::checkParameter(unsigned actuator, MechParam param) const {
    if (!m_secureMode) {
        return;
    }
    definition()->at(actuator);
    if (param > PARAM_CEILING) {
        FUS_THROW(ERR_ARGUMENT);
    }
}

NetPacket LowLevelMechanicsPrivate::readParameter(unsigned actuator, MechParam param) {
    FUS_LOG(INFO, "  ReadMechParam(%s) for actuator %u", parameterName(param), actuator);
    checkParameter(actuator, param);
    NetPacket request = littleEndianPacket(2);
    request.write8(static_cast<std::uint8_t>(actuator));
    request.write8(static_cast<std::uint8_t>(param));
    const unsigned id = sendCommand(0, mprotocol::CMD_PARAM_GET, request);
    NetPacket answer = littleEndianPacket(4);
    if (waitAnswer(id, mprotocol::CMD_PARAM_GET, answer, TIMEOUT_DEFAULT) != 4) {
        FUS_THROW(ERR_PACKET);
    }
    return answer;
}

void LowLevelMechanicsPrivate::writeParameter(unsigned actuator, MechParam param, NetPacket value) {
    FUS_LOG(INFO, "  SetMechParam(%s) for actuator %u", parameterName(param), actuator);
    checkParameter(actuator, param);
    value.resize(6, true);
    value.seek(4, 0);
    value.write8(static_cast<std::uint8_t>(actuator));
    value.write8(static_cast<std::uint8_t>(param));
    sendAndCheck(mprotocol::CMD_PARAM_SET, value);
}

unsigned LowLevelMechanicsPrivate::readIntParameter(unsigned actuator, MechParam param) {
    const unsigned value = readParameter(actuator, param).read32();
    FUS_LOG(INFO, "ReadIntParameter: MOT[%u][%s] = %d", actuator, parameterName(param),
            static_cast<int>(value));
    return value;
}

float LowLevelMechanicsPrivate::readFloatParameter(unsigned actuator, MechParam param) {
    const float value = readParameter(actuator, param).readFloat();
    FUS_LOG(INFO, "ReadFloatParameter: MOT[%u][%s] = %g", actuator, parameterName(param),
            static_cast<double>(value));
    return value;
}

void LowLevelMechanicsPrivate::setIntParameter(unsigned actuator, MechParam param, unsigned value) {
    FUS_LOG(INFO, "SetIntParameter: MOT[%u][%s] = %d", actuator, parameterName(param),
            static_cast<int>(value));
    NetPacket packet = littleEndianPacket(4);
    packet.write32(value);
    writeParameter(actuator, param, std::move(packet));
}

void LowLevelMechanicsPrivate::setFloatParameter(unsigned actuator, MechParam param, float value) {
    FUS_LOG(INFO, "SetFloatParameter: MOT[%u][%s] = %g", actuator, parameterName(param),
            static_cast<double>(value));
    NetPacket packet = littleEndianPacket(4);
    packet.writeFloat(value);
    writeParameter(actuator, param, std::move(packet));
}

void LowLevelMechanicsPrivate::clearOrigin(unsigned actuator) {
    FUS_LOG(INFO, "Clear origin for actuator %d", static_cast<int>(actuator));
    setIntParameter(actuator, mprotocol::PARAM_ORIGIN_FOUND, 0);
}

void LowLevelMechanicsPrivate::clearAllOrigins() {
    FUS_LOG(INFO, "Clear all origins");
    const std::size_t actuators = definition()->actuators.size();
    for (unsigned i = 0; i < actuators; ++i) {
        clearOrigin(i);
    }
}

unsigned LowLevelMechanicsPrivate::getLastAsyncError(unsigned actuator) {
    FUS_LOG(INFO, "Read last asynchronous error for actuator %d", static_cast<int>(actuator));
    return readIntParameter(actuator, mprotocol::PARAM_R_LAST_ASYNC_ERROR);
}

} // namespace fus
