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

Connection& LowLevelMechanicsPrivate::linkOf(const OperationMark& op) {
    if (!op.connection || !op.connection->isOpen()) {
        FUS_THROW(ERR_NOT_CONNECTED);
    }
    return *op.connection;
}

unsigned LowLevelMechanicsPrivate::sendCommand(const OperationMark& op, unsigned time,
                                               MechCommand command, const NetPacket& data) {
    const mprotocol::MechCommandRow& row = mprotocol::mechCommandFromIndex(command);
    if (m_secureMode) {
        if (linkOf(op).config().getCount(NB_MECHANICS_BOARDS) == 0) {
            FUS_THROW_MSG(ERR_MECHANICS, "No mechanical system");
        }
        if (row.needsOrigins) {
            requireConfigured();
            requireOriginsFound();
        }
    }
    return linkOf(op).sendBoardCommand(gprotocol::HWID_MECHANICS, MOT_ADDRESS, time, row.id, data);
}

// What starts a motion, or has it wait for its trigger. The mutex is held over the send: a stop has
// either been seen here, and then nothing moves, or sends its command behind this one.
unsigned LowLevelMechanicsPrivate::sendMotion(const OperationMark& op, unsigned time,
                                              MechCommand command, const NetPacket& data) {
    const MutexLocker lock(m_mutex);
    requireRunning(op);
    return sendCommand(op, time, command, data);
}

unsigned LowLevelMechanicsPrivate::waitAnswer(const OperationMark& op, unsigned id,
                                              MechCommand command, NetPacket& data,
                                              unsigned timeout) {
    const mprotocol::MechCommandRow& row = mprotocol::mechCommandFromIndex(command);
    if (m_secureMode && row.needsOrigins) {
        requireConfigured();
    }
    return linkOf(op).readBoardAnswer(gprotocol::HWID_MECHANICS, MOT_ADDRESS, id, row.id, data,
                                      timeout);
}

void LowLevelMechanicsPrivate::waitEmptyAnswer(const OperationMark& op, unsigned id,
                                               MechCommand command, unsigned timeout) {
    NetPacket nothing;
    if (waitAnswer(op, id, command, nothing, timeout) != 0) {
        FUS_THROW(ERR_MECHANICS);
    }
}

void LowLevelMechanicsPrivate::sendAndCheck(const OperationMark& op, MechCommand command,
                                            const NetPacket& data) {
    waitEmptyAnswer(op, sendCommand(op, 0, command, data), command, TIMEOUT_DEFAULT);
}

unsigned LowLevelMechanicsPrivate::startMotion(const OperationMark& op, unsigned time,
                                               MechCommand command, const NetPacket& data,
                                               unsigned execCount) {
    MotionStarts::Entry start(m_starts);
    const unsigned id = sendMotion(op, time, command, data);
    start.setId(id);
    waitEmptyAnswer(op, id, command, TIMEOUT_DEFAULT);
    start.report(new ExecStartEvent(id, execCount, 0, gprotocol::EXEC_ELEC_NONE,
                                    gprotocol::EXEC_TRIGGER_IGNORED,
                                    gprotocol::EXEC_MECH_CONTINUE));
    return id;
}

unsigned LowLevelMechanicsPrivate::simulatorTime(const OperationMark& op, unsigned time,
                                                 unsigned factor) {
    // not by `config`, which throws when the link is dead
    if (!op.connection || op.connection->lastConfig().generatorType() != gprotocol::GEN_SIMULATOR) {
        return time;
    }
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint32_t>::max();
    return static_cast<unsigned>(std::min(std::uint64_t{time} * factor, MOST));
}

// --- parameters ----------------------------------------------------------------------------------

void LowLevelMechanicsPrivate::checkParameter(const OperationMark& op, unsigned actuator,
                                              MechParam param) const {
    if (!m_secureMode) {
        return;
    }
    op.definition->at(actuator);
    if (param > PARAM_CEILING) {
        FUS_THROW(ERR_ARGUMENT);
    }
}

NetPacket LowLevelMechanicsPrivate::readParameter(const OperationMark& op, unsigned actuator,
                                                  MechParam param) {
    const char* const name = parameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "  ReadMechParam(%s) for actuator %u", name, actuator);
    checkParameter(op, actuator, param);
    NetPacket request = littleEndianPacket(2);
    request.write8(static_cast<std::uint8_t>(actuator));
    request.write8(static_cast<std::uint8_t>(param));
    const unsigned id = sendCommand(op, 0, mprotocol::CMD_PARAM_GET, request);
    NetPacket answer = littleEndianPacket(4);
    if (waitAnswer(op, id, mprotocol::CMD_PARAM_GET, answer, TIMEOUT_DEFAULT) != 4) {
        FUS_THROW(ERR_PACKET);
    }
    return answer;
}

void LowLevelMechanicsPrivate::writeParameter(const OperationMark& op, unsigned actuator,
                                              MechParam param, NetPacket value) {
    const char* const name = parameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "  SetMechParam(%s) for actuator %u", name, actuator);
    checkParameter(op, actuator, param);
    value.resize(6, true);
    value.seek(4, 0);
    value.write8(static_cast<std::uint8_t>(actuator));
    value.write8(static_cast<std::uint8_t>(param));
    sendAndCheck(op, mprotocol::CMD_PARAM_SET, value);
}

unsigned LowLevelMechanicsPrivate::readInt(const OperationMark& op, unsigned actuator,
                                           MechParam param) {
    const unsigned value = readParameter(op, actuator, param).read32();
    const char* const name = parameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "ReadIntParameter: MOT[%u][%s] = %d", actuator, name, static_cast<int>(value));
    return value;
}

float LowLevelMechanicsPrivate::readFloat(const OperationMark& op, unsigned actuator,
                                          MechParam param) {
    const float value = readParameter(op, actuator, param).readFloat();
    const char* const name = parameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "ReadFloatParameter: MOT[%u][%s] = %g", actuator, name,
            static_cast<double>(value));
    return value;
}

void LowLevelMechanicsPrivate::writeInt(const OperationMark& op, unsigned actuator, MechParam param,
                                        unsigned value) {
    const char* const name = parameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "SetIntParameter: MOT[%u][%s] = %d", actuator, name, static_cast<int>(value));
    NetPacket packet = littleEndianPacket(4);
    packet.write32(value);
    writeParameter(op, actuator, param, std::move(packet));
}

void LowLevelMechanicsPrivate::writeFloat(const OperationMark& op, unsigned actuator,
                                          MechParam param, float value) {
    const char* const name = parameterName(param); // logs an unknown one at any level
    FUS_LOG(INFO, "SetFloatParameter: MOT[%u][%s] = %g", actuator, name,
            static_cast<double>(value));
    NetPacket packet = littleEndianPacket(4);
    packet.writeFloat(value);
    writeParameter(op, actuator, param, std::move(packet));
}

unsigned LowLevelMechanicsPrivate::readIntParameter(unsigned actuator, MechParam param) {
    return readInt(beginOperation(), actuator, param);
}

float LowLevelMechanicsPrivate::readFloatParameter(unsigned actuator, MechParam param) {
    return readFloat(beginOperation(), actuator, param);
}

void LowLevelMechanicsPrivate::setIntParameter(unsigned actuator, MechParam param, unsigned value) {
    writeInt(beginOperation(), actuator, param, value);
}

void LowLevelMechanicsPrivate::setFloatParameter(unsigned actuator, MechParam param, float value) {
    writeFloat(beginOperation(), actuator, param, value);
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
