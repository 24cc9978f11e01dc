// Displacements: into the board's buffer, and their execution.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/P_Connection.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cstdlib>

namespace fus {

using namespace mprotocol;

namespace {

constexpr unsigned UPLOAD_TIME = 100;     // [ms], also for its second answer
constexpr unsigned EXECUTION_SLACK = 100; // [ms]
constexpr unsigned SIMULATOR_FACTOR = 4;
constexpr unsigned OLD_PROTOCOL = 1; // has 8 bits for the number of executions
constexpr unsigned BYTE_MAX = 255;
constexpr std::uint8_t TRIGGER_MODE = 1; // the only one

constexpr unsigned UPLOAD_HEAD = 4;
constexpr unsigned MOVE_BYTES = 8;

bool isEmpty(const MechanicalDisplacement& displacement) {
    for (unsigned i = 0; i < displacement.actuatorCount(); ++i) {
        if (displacement.actuatorMoveCount(i) != 0) {
            return false;
        }
    }
    return true;
}

unsigned distanceOf(const Move& from, const Move& to) {
    return static_cast<unsigned>(std::llabs(std::int64_t{to.position()} - from.position()));
}

/// The speed of the first move isn't known: nobody knows where the axis will be.
void checkMove(const MechanicalActuator& actuator, const Move& move, const Move* previous) {
    if (move.delay() == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid delay (0=useless point)");
    }
    if (move.position() < actuator.lowerBound()) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Move position below lower bound");
    }
    if (move.position() > actuator.upperBound()) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Move position above upper bound");
    }
    if (previous != nullptr &&
        actuator.minDelayForDistance(distanceOf(*previous, move)) > move.delay()) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Impossible move (too quick)");
    }
}

} // namespace

void LowLevelMechanicsPrivate::clearDisplacement() {
    clearBuffer(beginOperation());
}

void LowLevelMechanicsPrivate::clearBuffer(const OperationMark& op) {
    FUS_LOG(INFO, "Clearing displacement buffer (for all actuators).");
    sendAndCheck(op, CMD_TRAJ_RESET, NetPacket());
    m_displacementDuration = 0;
}

void LowLevelMechanicsPrivate::sendDisplacement(const MechanicalDisplacement& displacement) {
    const OperationMark op = beginOperation();
    if (m_secureMode) {
        if (displacement.actuatorCount() == 0) {
            FUS_THROW_MSG(ERR_ARGUMENT, "No actuator defined in this displacement");
        }
        requireNoSearch();
        requireConfigSent();
        requireOriginsFound();
    }
    if (isEmpty(displacement)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Empty displacement");
    }
    clearBuffer(op);
    FUS_LOG(INFO, "Sending displacement (%u actuators)", displacement.actuatorCount());
    unsigned longest = 0;
    for (unsigned i = 0; i < displacement.actuatorCount(); ++i) {
        longest = std::max(longest, sendMoves(op, displacement, i));
    }
    FUS_LOG(INFO, "Overall duration: %u ms", longest);
    if (!store(op, m_displacementDuration, longest)) {
        FUS_THROW(ERR_MECH_NO_CONFIG); // it was for a definition that is gone
    }
}

// Gives the time that the actuator takes.
unsigned LowLevelMechanicsPrivate::sendMoves(const OperationMark& op,
                                             const MechanicalDisplacement& displacement,
                                             unsigned index) {
    const MechanicalActuator& actuator = op.definition->at(index);
    const unsigned moves = displacement.actuatorMoveCount(index);
    FUS_LOG(INFO, "- sending actuator %u, %u moves", index, moves);
    if (moves == 0) {
        return 0;
    }
    // in any mode not more than their count has bits for: the board would take the rest for garbage
    if ((m_secureMode && moves > maxDisplacementSize()) || moves > BYTE_MAX) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Too many points in mechanical trajectory");
    }
    NetPacket packet = littleEndianPacket(UPLOAD_HEAD + MOVE_BYTES * moves);
    packet.write8(static_cast<std::uint8_t>(moves));
    packet.write8(static_cast<std::uint8_t>(index));
    packet.write16(0);
    unsigned duration = 0;
    for (unsigned i = 0; i < moves; ++i) {
        const Move move = displacement.getMove(index, i);
        const unsigned position = actuator.absolutePosition(move.position());
        FUS_LOG(VERBOSE, "  move%03d (pos=%+5d, time=%5d) (abs=%u)", static_cast<int>(i),
                move.position(), static_cast<int>(move.delay()), position);
        duration += move.delay();
        if (m_secureMode) {
            const Move previous = displacement.getMove(index, i == 0 ? 0 : i - 1);
            checkMove(actuator, move, i == 0 ? nullptr : &previous);
        }
        packet.write32(position);
        packet.write32(move.delay());
    }
    FUS_LOG(VERBOSE, "Actuator duration: %u ms", duration);
    const unsigned id = sendCommand(op, UPLOAD_TIME, CMD_TRAJ_SEND, packet);
    waitEmptyAnswer(op, id, CMD_TRAJ_SEND, TIMEOUT_DEFAULT);
    waitEmptyAnswer(op, id, CMD_TRAJ_SEND, UPLOAD_TIME);
    return duration;
}

// The texts on the count are off by one, and known by them.
void LowLevelMechanicsPrivate::checkExecution(unsigned execCount, bool countIsByte) const {
    requireConfigSent();
    requireNoSearch();
    requireOriginsFound();
    if (execCount == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Displacement execution count must be above 1");
    }
    if (countIsByte && execCount > BYTE_MAX) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Displacement execution count must be below 255");
    }
    if (m_displacementDuration == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Can not execute if no Displacement has been sent");
    }
}

// With room for `more` bytes behind.
NetPacket LowLevelMechanicsPrivate::executionPacket(unsigned execCount, unsigned execDelay,
                                                    unsigned more) const {
    const bool isOld = m_protocolVersion == OLD_PROTOCOL;
    NetPacket packet = littleEndianPacket((isOld ? 5U : 8U) + more);
    packet.write32(execDelay);
    if (isOld) {
        packet.write8(static_cast<std::uint8_t>(execCount));
    } else {
        packet.write32(execCount);
    }
    return packet;
}

unsigned LowLevelMechanicsPrivate::executeDisplacement(unsigned execCount, unsigned execDelay,
                                                       unsigned timeout) {
    const OperationMark op = beginOperation();
    const unsigned needed =
        m_displacementDuration * execCount + (execCount - 1) * execDelay + EXECUTION_SLACK;
    if (m_secureMode) {
        checkExecution(execCount, m_protocolVersion == OLD_PROTOCOL);
        if (timeout != 0 && timeout < needed) {
            FUS_THROW_MSG(ERR_ARGUMENT, "Timeout is too short");
        }
    }
    if (timeout == 0) {
        timeout = simulatorTime(op, needed, SIMULATOR_FACTOR);
    }
    FUS_LOG(INFO, "Executing displacement (%u times, delay: %u ms, timeout: %u ms)", execCount,
            execDelay, timeout);
    return startMotion(op, timeout, CMD_TRAJ_EXEC, executionPacket(execCount, execDelay, 0),
                       execCount);
}

unsigned LowLevelMechanicsPrivate::prepareDisplacement(unsigned execCount, unsigned execDelay) {
    const OperationMark op = beginOperation();
    if (m_secureMode) {
        checkExecution(execCount, true);
    }
    FUS_LOG(INFO, "Preparing triggered displacement (%u times, delay:%u ms, trigMode:%u)",
            execCount, execDelay, unsigned{TRIGGER_MODE});
    NetPacket packet = executionPacket(execCount, execDelay, 1);
    packet.write8(TRIGGER_MODE);
    const unsigned id = sendMotion(op, 0, CMD_TRAJ_TRIG, packet);
    waitEmptyAnswer(op, id, CMD_TRAJ_TRIG, TIMEOUT_DEFAULT);
    return id;
}

} // namespace fus
