// The search of one axis, what ends it, and what the board knows already.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/FUSEvent.h"
#include "fus/P_Connection.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MechanicalOriginThread.h"
#include "fus/Utilities.h"

#include <string>

namespace fus {

using namespace mprotocol;

namespace {

constexpr unsigned ERROR_PAUSE = 100; // [ms], what a board needs that has not answered in time
constexpr unsigned PARK_SLACK = 70;   // [ms]
constexpr unsigned SIMULATOR_FACTOR = 2;
constexpr unsigned KNOWS_DAC_USED = 2; // from this version of the board's protocol on

/// The board failed, and tells why in its status.
constexpr unsigned CODE_ASK_STATUS = 0x220000FF;

struct DACRule {
    bool (*isBroken)(const OriginRequest& r);
    const char* text;
};

/// In this order. 127 is no motion; the rule on it has a text that isn't apt, and known.
constexpr DACRule DAC_RULES[] = {
    {[](const OriginRequest& r) { return r.stepDAC >= 127; }, "Step too large"},
    {[](const OriginRequest& r) { return r.maxDAC < 127 && r.firstDAC <= r.maxDAC; },
     "First DAC must be larger than max when below 127."},
    {[](const OriginRequest& r) { return r.maxDAC < 127 && r.firstDAC >= 127; },
     "First DAC must be below 127 if max is also below 127."},
    {[](const OriginRequest& r) { return r.maxDAC == 127; }, "Step too large"},
    {[](const OriginRequest& r) { return r.maxDAC > 127 && r.firstDAC >= r.maxDAC; },
     "First DAC must be lower than max when above 127."},
    {[](const OriginRequest& r) { return r.maxDAC > 127 && r.firstDAC <= 127; },
     "First DAC must be above 127 if max is also above 127."},
};

const char* yesNo(bool value) {
    return value ? "yes" : "no";
}

} // namespace

// Tells a search that it is to end. Waits for nothing; one that pauses is woken, and looks around
// when the mutex is free.
void LowLevelMechanicsPrivate::endSearch(bool linkAlive) {
    const MutexLocker lock(m_mutex);
    if (linkAlive) {
        ++m_stops;
    }
    if (m_originThread != nullptr) {
        if (isCurrent(m_originThread->mark())) {
            m_allOriginsFound = false; // it has no say in this any more
        }
        m_originThread->requestStop();
        m_originThread = nullptr;
    }
    m_stopped.broadcast();
}

void LowLevelMechanicsPrivate::pauseSearch(unsigned ms, const OperationMark& mark) {
    const Timer timer;
    const MutexLocker lock(m_mutex);
    for (unsigned elapsed = 0; elapsed < ms && endOf(mark) == SearchEnd::NONE;
         elapsed = timer.elapsed()) {
        m_stopped.timedWait(ms - elapsed);
    }
}

// --- one axis ------------------------------------------------------------------------------------

void LowLevelMechanicsPrivate::findOrigin(const OriginRequest& request) {
    searchAxis(request, beginOperation());
}

void LowLevelMechanicsPrivate::searchAxis(const OriginRequest& request, const OperationMark& mark) {
    FUS_LOG(INFO, "Find origin for actuator %u (DAC:[%u, %u] +%u, timeout:%u ms, park:%s)",
            request.actuator, unsigned{request.firstDAC}, unsigned{request.maxDAC},
            unsigned{request.stepDAC}, request.timeout, yesNo(request.park));
    if (m_secureMode) {
        checkSearch(request, mark);
    }
    try {
        runAxisSearch(request, mark);
    } catch (const FUSException& e) {
        failAxisSearch(e, request.actuator, mark);
    }
}

void LowLevelMechanicsPrivate::checkSearch(const OriginRequest& request,
                                           const OperationMark& mark) const {
    requireConfigSent();
    mark.definition->at(request.actuator);
    for (const DACRule& rule : DAC_RULES) {
        if (rule.isBroken(request)) {
            FUS_THROW_MSG(ERR_ARGUMENT, rule.text);
        }
    }
}

void LowLevelMechanicsPrivate::runAxisSearch(const OriginRequest& request,
                                             const OperationMark& mark) {
    storeOrigin(mark, request.actuator, 0);
    readPosition(mark, request.actuator);
    const unsigned id = startAxisSearch(request, mark);
    waitEmptyAnswer(mark, id, CMD_INIT, TIMEOUT_DEFAULT);
    FUS_LOG(VERBOSE, "  waiting findOrigin async answer (id=%d time=%d) ...", static_cast<int>(id),
            static_cast<int>(request.timeout));
    waitEmptyAnswer(mark, id, CMD_INIT, request.timeout);
    requireRunning(mark);
    takeOrigin(request.actuator, mark);
    requireRunning(mark);
    if (request.park) {
        parkActuator(request.actuator, mark);
    }
    requireRunning(mark);
}

// On the wire the maximum comes in front of the first value.
unsigned LowLevelMechanicsPrivate::startAxisSearch(const OriginRequest& request,
                                                   const OperationMark& mark) {
    NetPacket packet = littleEndianPacket(4);
    packet.write8(static_cast<std::uint8_t>(request.actuator));
    packet.write8(request.maxDAC);
    packet.write8(request.firstDAC);
    packet.write8(request.stepDAC);
    return sendMotion(mark, request.timeout, CMD_INIT, packet);
}

void LowLevelMechanicsPrivate::takeOrigin(unsigned actuator, const OperationMark& mark) {
    if (readInt(mark, actuator, PARAM_ORIGIN_FOUND) != 1) {
        storeOrigin(mark, actuator, 0);
        FUS_THROW_MSG(ERR_MECHANICS, "findOrigin failed on actuator " + std::to_string(actuator));
    }
    storeOrigin(mark, actuator, readInt(mark, actuator, PARAM_R_ORIGIN_POS));
    readInt(mark, actuator, PARAM_R_ORIGIN2_POS); // for the log
    try {
        logDACUsed(actuator, mark);
    } catch (const FUSException&) {
        // the search has succeeded without it
    }
}

void LowLevelMechanicsPrivate::logDACUsed(unsigned actuator, const OperationMark& mark) {
    if (m_protocolVersion >= KNOWS_DAC_USED) {
        readInt(mark, actuator, PARAM_R_INIT_DAC_USED);
    }
}

// Called while `error` is handled: throws it again, or the better one that the board's status
// tells.
void LowLevelMechanicsPrivate::failAxisSearch(const FUSException& error, unsigned actuator,
                                              const OperationMark& mark) {
    if (error.errorCode() == ERR_TIMEOUT || error.errorCode() == ERR_BOARD_BUSY) {
        milliSleep(ERROR_PAUSE);
    }
    if (isDisconnected(mark)) {
        throw; // there is nobody to ask
    }
    try {
        readPosition(mark, actuator); // for the log
        logDACUsed(actuator, mark);
    } catch (const FUSException&) {
        // the first error counts
    }
    if (error.hardwareCode().rawCode() != CODE_ASK_STATUS) {
        throw;
    }
    const HardwareCode cause = findCause(mark);
    if (cause.empty()) {
        throw;
    }
    const FUSException better(cause, __FILE__, __LINE__, nullptr);
    FUS_LOG(EXCEPTION, "%s: %s", FUSException::FUSErrorName(better.errorCode()), better.message());
    throw better;
}

// Waits by time alone: the end of the move is an event, which nobody looks at here.
void LowLevelMechanicsPrivate::parkActuator(unsigned actuator, const OperationMark& mark) {
    FUS_LOG(INFO, "Parking mechanical actuator #%u", actuator);
    if (m_secureMode) {
        requireConfigSent();
    }
    const OriginParams& params = mark.definition->originParams(actuator);
    if (m_secureMode && params.origin == 0) {
        FUS_THROW(ERR_MECH_NO_ORIGIN);
    }
    if (params.parkDuration == 0) {
        FUS_LOG(VERBOSE, "  No park for this actuator.");
        return;
    }
    const auto duration = static_cast<unsigned>(params.parkDuration);
    moveAxis(mark, actuator, params.parkPosition, duration);
    pauseSearch(simulatorTime(mark, duration + PARK_SLACK, SIMULATOR_FACTOR), mark);
}

// --- all axes ------------------------------------------------------------------------------------

void LowLevelMechanicsPrivate::findAllOrigins(bool force) {
    FUS_LOG(INFO, "Finding origins on all (specified) actuators (force=%s)", yesNo(force));
    if (m_secureMode) {
        requireConfigSent();
    }
    const OperationMark mark = beginOperation();
    if (!force) {
        const bool known = surveyOrigins(mark);
        store(mark, m_allOriginsFound, known);
        if (known) {
            parkAll(mark);
            return;
        }
    }
    startSearchThread(mark);
}

// Takes from the board what it knows; true if that is all.
bool LowLevelMechanicsPrivate::surveyOrigins(const OperationMark& mark) {
    for (const unsigned index : mark.definition->initOrder) {
        if (mark.definition->originParams(index).origin != 0) {
            continue;
        }
        if (readInt(mark, index, PARAM_ORIGIN_FOUND) != 1) {
            return false;
        }
        storeOrigin(mark, index, readInt(mark, index, PARAM_R_ORIGIN_POS));
    }
    return true;
}

void LowLevelMechanicsPrivate::parkAll(const OperationMark& mark) {
    FUS_LOG(INFO, "The MOT board seems to already know its origins.");
    for (const unsigned index : mark.definition->initOrder) {
        // what was stopped must not start to move again
        if (mark.definition->originParams(index).parkDuration == 0 ||
            endOf(mark) != SearchEnd::NONE) {
            continue;
        }
        try {
            parkActuator(index, mark);
        } catch (...) {
            // the origins are known all the same
        }
    }
    const MechResult result = endResult(mark, OK);
    FUS_LOG(INFO, "Find origin: %s (reason=%d)", mechResultMessage(result),
            static_cast<int>(result));
    m_upcalls.notifyListeners(new MechOriginEvent(result));
}

MechResult LowLevelMechanicsPrivate::endResult(const OperationMark& mark, MechResult ifNone) const {
    switch (endOf(mark)) {
    case SearchEnd::STOPPED:
        return USER_STOP;
    case SearchEnd::LINK_LOST:
        return ERROR_NOT_CONNECTED;
    default:
        return ifNone;
    }
}

} // namespace fus
