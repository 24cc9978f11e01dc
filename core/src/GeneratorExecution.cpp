#include "fus/Generator.h"

#include "fus/FUSEvent.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorLimits.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <algorithm>

namespace fus {

namespace {

using namespace gprotocol;

constexpr unsigned START_SIZE_V3 = 16;
constexpr unsigned START_SIZE_V2 = 64;

constexpr unsigned LINK_CHECK_STEP = 10; // [ms], how long a closed link may go unnoticed

/// What a start command says.
struct Start {
    unsigned buffer;
    unsigned execCount;
    unsigned delay; // [us]
    unsigned id;    // 0: no results
};

void checkExecution(const GeneratorConfig& config, const TrajectoryBufferInfo& record,
                    const Start& start) {
    if (start.execCount == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Trajectory execution count must be >= 1");
    }
    if (start.execCount == 1) {
        return;
    }
    if (start.delay < config.getTiming(TIME_MIN_TRAJECTORY_DELAY) ||
        start.delay > limits::maxTrajectoryDelay(config, record.electronicExecutionMode())) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid delay between trajectory executions");
    }
    const TriggerMode trigger = record.triggerMode();
    if (start.delay != 0 && (trigger == EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY ||
                             trigger == EXEC_TRIGGER_ONE_PULSE_PER_SHOT)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "No delay between executions allowed in this trigger mode");
    }
}

unsigned sendStartV3(Connection& connection, const Start& start) {
    NetPacket packet(START_SIZE_V3);
    packet.write32(start.buffer);
    packet.write32(start.execCount);
    packet.write32(start.delay);
    packet.write32(start.id);
    return connection.sendCommand(CMD_TRAJ_EXEC_V3, packet);
}

/// The older protocols take the modes with the start, not with the upload.
unsigned sendStartV2(Connection& connection, const Start& start,
                     const TrajectoryBufferInfo& record) {
    NetPacket packet(START_SIZE_V2); // what isn't written is 0
    packet.write32(start.buffer);
    packet.write32(start.execCount);
    packet.write32(start.delay);
    packet.write32(0);
    packet.write32(start.id);
    packet.write32(0);
    packet.write8(static_cast<unsigned char>(record.electronicExecutionMode()));
    packet.write8(static_cast<unsigned char>(record.mechanicalExecutionMode()));
    packet.write8(static_cast<unsigned char>(record.triggerMode()));
    return connection.sendCommand(CMD_TRAJ_EXEC_V2, packet);
}

unsigned sendStart(Connection& connection, const Start& start, const TrajectoryBufferInfo& record) {
    if (connection.config().protocolNumber() >= PROTOCOL_V3_FULL) {
        return sendStartV3(connection, start);
    }
    return sendStartV2(connection, start, record);
}

unsigned takeExecutionId(Connection& connection) {
    const unsigned id = connection.nextId();
    FUS_LOG(INFO, "Execute trajectory execID=%d", id);
    return id;
}

} // namespace

StartsUnderWay::Entry::Entry(StartsUnderWay& starts, unsigned id, const Connection& connection)
    : m_starts(starts), m_id(id), m_connection(connection) {
    const MutexLocker lock(m_starts.m_mutex);
    m_starts.m_entries.push_back(this);
}

void StartsUnderWay::Entry::end() {
    const MutexLocker lock(m_starts.m_mutex);
    auto& entries = m_starts.m_entries;
    entries.erase(std::remove(entries.begin(), entries.end(), this), entries.end());
    m_starts.m_ended.broadcast();
}

void StartsUnderWay::waitFor(unsigned id) {
    const MutexLocker lock(m_mutex);
    while (contains(id)) {
        m_ended.timedWait(LINK_CHECK_STEP);
    }
}

// The mutex is held. Ids start anew with every connection: a start on one that is gone has nothing
// to do with this id.
bool StartsUnderWay::contains(unsigned id) const {
    return std::any_of(m_entries.begin(), m_entries.end(), [id](const Entry* entry) {
        return entry->m_id == id && entry->m_connection.isOpen();
    });
}

unsigned Generator::executeTrajectory(unsigned buffer, unsigned execCount, unsigned delay_us,
                                      bool sendResults) {
    FUS_LOG(INFO, "executeTrajectory (buf=%d, execs=%d, delay=%d us, sendResults=%d)", buffer,
            execCount, delay_us, sendResults);
    const auto connection = m_private->upcalls.getConnection();
    const auto session = m_private->session();
    TrajectoryBufferInfo& record = session->record(buffer);
    Start start{buffer, execCount, delay_us, 0};
    if (m_private->secure) {
        checkExecution(connection->config(), record, start);
    }
    start.id = sendResults ? takeExecutionId(*connection) : 0;
    // From here on a result must wait until its execution is known: first for this thread to have
    // the mutex, then for the mutex. It is the reader that waits, and so a generator that sends a
    // result before the acknowledgement makes this time out.
    StartsUnderWay::Entry underWay(m_private->startsUnderWay, start.id, *connection);
    const unsigned command = sendStart(*connection, start, record);
    const MutexLocker lock(m_private->resultsMutex);
    underWay.end();
    connection->awaitAnswer(command, ANSWER_OK);
    if (sendResults) {
        record.onExecute(start.id, execCount, delay_us);
    }
    m_private->upcalls.notifyListeners(record.makeStartEvent().release());
    return start.id;
}

void Generator::stopTrajectory() {
    FUS_LOG(INFO, "Stop electronic trajectory");
    m_private->upcalls.getConnection()->sendCommand(CMD_TRAJ_STOP, nullptr, 0);
}

} // namespace fus
