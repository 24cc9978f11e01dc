// Moves that need no buffer, stop, and what the board says of itself.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/FUSEvent.h"
#include "fus/P_Connection.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace fus {

using namespace mprotocol;

namespace {

constexpr unsigned MOTION_SLACK = 50; // [ms]
constexpr unsigned SIMULATOR_FACTOR = 2;
constexpr unsigned BYTE_MAX = 255;
constexpr unsigned MOST_ACTUATORS = 256; // an index has 8 bits
constexpr unsigned RAW_MOVE_SIZE = 6;
constexpr unsigned STATUS_SIZE = 4;
constexpr unsigned HISTORY_LINE_SIZE = 100;
constexpr unsigned MOST_HISTORY_LINES = 256; // an index has 8 bits

/// "No ongoing displacement".
constexpr unsigned CODE_AT_REST = 0x20150000;

/// Errors of a motion that the board's history explains.
constexpr unsigned char FIRST_MOTION_ERROR = 25;
constexpr unsigned char LAST_MOTION_ERROR = 27;

void requireByte(unsigned value) {
    if (value > BYTE_MAX) {
        FUS_THROW(ERR_ARGUMENT);
    }
}

void requireDuration(unsigned duration) {
    if (duration == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "The duration can not be null.");
    }
}

unsigned defaultRangeTime(const MechanicalActuator& actuator) {
    return actuator.defaultDelayForDistance(actuator.fullDistance());
}

NetPacket rawMovePacket(unsigned amount, unsigned actuator, unsigned dac) {
    NetPacket packet = littleEndianPacket(RAW_MOVE_SIZE);
    packet.write32(amount);
    packet.write8(static_cast<std::uint8_t>(actuator));
    packet.write8(static_cast<std::uint8_t>(dac));
    return packet;
}

} // namespace

// The time that a motion is given: one that can't be told is more than any board allows.
unsigned LowLevelMechanicsPrivate::motionTime(const OperationMark& op, unsigned duration) {
    constexpr unsigned MOST = std::numeric_limits<unsigned>::max() - MOTION_SLACK;
    return simulatorTime(op, std::min(duration, MOST) + MOTION_SLACK, SIMULATOR_FACTOR);
}

unsigned LowLevelMechanicsPrivate::moveActuatorTo(unsigned actuator, int position,
                                                  unsigned duration) {
    return moveAxis(beginOperation(), actuator, position, duration);
}

unsigned LowLevelMechanicsPrivate::moveAxis(const OperationMark& op, unsigned actuator,
                                            int position, unsigned duration) {
    FUS_LOG(INFO, "Moving actuator %u to position %d in %u ms", actuator, position, duration);
    const MechanicalDefinition& definition = *op.definition;
    if (m_secureMode) {
        requireConfigSent();
        if (!definition.at(actuator).isOriginFound()) {
            FUS_THROW(ERR_MECH_NO_ORIGIN);
        }
        requireDuration(duration);
    }
    const unsigned absolute = definition.at(actuator).absolutePosition(position);
    FUS_LOG(INFO, "  absolute position: %u", absolute);
    NetPacket packet = movePacket();
    for (unsigned i = 0; i < definition.actuators.size(); ++i) {
        packet.write32(i == actuator ? absolute : 0);
    }
    return sendMove(op, packet, duration);
}

// One position for each axis of the board, then the duration.
NetPacket LowLevelMechanicsPrivate::movePacket() const {
    const unsigned actuators = maxActuatorCount();
    if (actuators > MOST_ACTUATORS) {
        FUS_THROW(ERR_PACKET);
    }
    return littleEndianPacket(4 * actuators + 4);
}

unsigned LowLevelMechanicsPrivate::sendMove(const OperationMark& op, NetPacket& packet,
                                            unsigned duration) {
    packet.write32(duration);
    return startMotion(op, motionTime(op, duration), CMD_MOVE_TO, packet, 1);
}

unsigned LowLevelMechanicsPrivate::moveTo(const MechanicalDisplacement& displacement) {
    const OperationMark op = beginOperation();
    FUS_LOG(INFO, "Moving all actuators to ONE position.");
    if (m_secureMode) {
        checkMoveTo(displacement);
    }
    NetPacket packet = movePacket();
    unsigned duration = 0;
    for (unsigned i = 0; i < op.definition->actuators.size(); ++i) {
        if (i >= displacement.actuatorCount() || displacement.actuatorMoveCount(i) == 0) {
            packet.write32(0);
            continue;
        }
        const Move move = displacement.getMove(i, 0);
        const unsigned absolute = op.definition->at(i).absolutePosition(move.position());
        FUS_LOG(VERBOSE, "- actuator %u to %+5d (abs=%u)", i, move.position(), absolute);
        packet.write32(absolute);
        duration = std::max(duration, move.delay());
    }
    if (m_secureMode) {
        requireDuration(duration);
    }
    return sendMove(op, packet, duration);
}

void LowLevelMechanicsPrivate::checkMoveTo(const MechanicalDisplacement& displacement) const {
    requireNoSearch();
    requireConfigSent();
    requireOriginsFound();
    unsigned moves = 0;
    for (unsigned i = 0; i < displacement.actuatorCount(); ++i) {
        if (displacement.actuatorMoveCount(i) > 1) {
            FUS_THROW_MSG(ERR_ARGUMENT,
                          "The displacement should contain only one Move per axis max.");
        }
        moves += displacement.actuatorMoveCount(i);
    }
    if (moves == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Nothing to move, the given displacement is empty.");
    }
}

unsigned LowLevelMechanicsPrivate::rawMoveSomeTime(unsigned actuator, unsigned duration,
                                                   unsigned dac) {
    const OperationMark op = beginOperation();
    FUS_LOG(INFO, "Moving actuator %d for %u ms with DAC=%u", static_cast<int>(actuator), duration,
            dac);
    if (m_secureMode) {
        requireByte(actuator);
        requireByte(dac);
    }
    return startMotion(op, motionTime(op, duration), CMD_MOVE_DURATION,
                       rawMovePacket(duration, actuator, dac), 1);
}

unsigned LowLevelMechanicsPrivate::rawMoveSomeSteps(unsigned actuator, unsigned steps, unsigned dac,
                                                    unsigned timeout) {
    const OperationMark op = beginOperation();
    FUS_LOG(INFO, "Moving actuator %d for %u steps with DAC=%u", static_cast<int>(actuator), steps,
            dac);
    if (m_secureMode) {
        requireByte(actuator);
        requireByte(dac);
        if (steps == 0) {
            FUS_THROW_MSG(ERR_ARGUMENT, "Invalid distance (null)");
        }
    }
    const unsigned time = timeout != 0
                              ? simulatorTime(op, timeout, SIMULATOR_FACTOR)
                              : motionTime(op, defaultRangeTime(op.definition->at(actuator)));
    return startMotion(op, time, CMD_MOVE_STEPS, rawMovePacket(steps, actuator, dac), 1);
}

void LowLevelMechanicsPrivate::stop() {
    haltMotion(true);
}

void LowLevelMechanicsPrivate::haltMotion(bool linkAlive) {
    const OperationMark op = beginOperation();
    FUS_LOG(INFO, "Stop ALL mechanical motion");
    try {
        waitEmptyAnswer(op, sendStop(op, linkAlive), CMD_STOP, TIMEOUT_DEFAULT);
    } catch (const FUSException& e) {
        if (e.hardwareCode().rawCode() != CODE_AT_REST) {
            throw;
        }
    }
}

void LowLevelMechanicsPrivate::motionEnded(std::unique_ptr<MechMotionEvent> event) {
    m_starts.motionEnded(std::move(event));
}

// Counted and sent under one lock: nobody sees the stop before its command is on its way, and a
// search that pauses is woken by the unlock, so that what it still asks comes behind.
unsigned LowLevelMechanicsPrivate::sendStop(const OperationMark& op, bool linkAlive) {
    const MutexLocker lock(m_mutex);
    endSearch(linkAlive);
    return sendCommand(op, 0, CMD_STOP, NetPacket());
}

// --- diagnosis -----------------------------------------------------------------------------------

MechanicalStatus LowLevelMechanicsPrivate::readStatus() {
    return askStatus(beginOperation());
}

MechanicalStatus LowLevelMechanicsPrivate::askStatus(const OperationMark& op) {
    FUS_LOG(INFO, "ReadStatus");
    const unsigned id = sendCommand(op, 0, CMD_STATUS, NetPacket());
    NetPacket answer = littleEndianPacket(STATUS_SIZE);
    if (waitAnswer(op, id, CMD_STATUS, answer, TIMEOUT_DEFAULT) != STATUS_SIZE) {
        FUS_THROW(ERR_PACKET);
    }
    const MechanicalStatus status(answer.read32());
    status.log();
    return status;
}

HardwareCode LowLevelMechanicsPrivate::getIndirectErrorAndLog() {
    return findCause(beginOperation());
}

HardwareCode LowLevelMechanicsPrivate::findCause(const OperationMark& op) {
    try {
        const HardwareCode code(askStatus(op).rawCode());
        const unsigned char error = code.mechanicalError();
        if (error >= FIRST_MOTION_ERROR && error <= LAST_MOTION_ERROR) {
            readAllHistory(op);
        }
        return code;
    } catch (...) {
        return {0};
    }
}

unsigned LowLevelMechanicsPrivate::readAbsoluteActuatorPosition(unsigned actuator) {
    return readPosition(beginOperation(), actuator);
}

unsigned LowLevelMechanicsPrivate::readPosition(const OperationMark& op, unsigned actuator) {
    FUS_LOG(INFO, "Read absolute position of actuator %d", static_cast<int>(actuator));
    const unsigned position = readInt(op, actuator, PARAM_R_ENCODER_POS);
    FUS_LOG(INFO, "  pos[%d] = %u (abs)", static_cast<int>(actuator), position);
    return position;
}

int LowLevelMechanicsPrivate::readActuatorPosition(unsigned actuator) {
    const OperationMark op = beginOperation();
    const unsigned absolute = readPosition(op, actuator);
    const int position = op.definition->at(actuator).relativePosition(absolute);
    FUS_LOG(INFO, "  pos[%d] = %d (rel)", static_cast<int>(actuator), position);
    return position;
}

void LowLevelMechanicsPrivate::readHistoryLine(const OperationMark& op, unsigned actuator,
                                               unsigned line) {
    NetPacket request = littleEndianPacket(2);
    request.write8(static_cast<std::uint8_t>(actuator));
    request.write8(static_cast<std::uint8_t>(line));
    const unsigned id = sendCommand(op, 0, CMD_LOG_GET, request);
    NetPacket answer(HISTORY_LINE_SIZE);
    const unsigned size = waitAnswer(op, id, CMD_LOG_GET, answer, TIMEOUT_DEFAULT);
    const std::string text(reinterpret_cast<const char*>(answer.data()), size);
    FUS_LOG(INFO, "%u. %s", line, text.c_str());
}

void LowLevelMechanicsPrivate::logHistory(unsigned actuator) {
    readHistory(beginOperation(), actuator);
}

void LowLevelMechanicsPrivate::readHistory(const OperationMark& op, unsigned actuator) {
    FUS_LOG(INFO, "Retrieving history for actuator %u", actuator);
    const unsigned lines = std::min(m_logSize.load(), MOST_HISTORY_LINES);
    for (unsigned line = 0; line < lines; ++line) {
        try {
            readHistoryLine(op, actuator, line);
        } catch (const FUSException&) {
            if (line == 0) {
                FUS_LOG(INFO, "  empty log");
            }
            return;
        }
    }
}

void LowLevelMechanicsPrivate::logAllHistory() {
    readAllHistory(beginOperation());
}

void LowLevelMechanicsPrivate::readAllHistory(const OperationMark& op) {
    FUS_LOG(INFO, "Retrieving history for all actuators");
    for (unsigned i = 0; i < op.definition->actuators.size(); ++i) {
        readHistory(op, i);
    }
}

} // namespace fus
