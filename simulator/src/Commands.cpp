#include "Commands.h"

#include "BoardCommands.h"
#include "Parameters.h"
#include "Refusal.h"
#include "Upload.h"
#include "V2Parameters.h"

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::uint32_t MAX_WAIT_US = 60000000;
constexpr unsigned ANY_PROTOCOL = 0xFFFF;

void refusePulse(Pulse outcome) {
    switch (outcome) {
    case Pulse::NOT_RUNNING:
        refuse(NOTHING_TO_EXECUTE, 0, "No execution is running.");
    case Pulse::NOT_EXPECTED:
        refuse(CHECK_ERROR, 0, "No trigger is expected.");
    case Pulse::UNEXPECTED:
        refuse(CHECK_ERROR, 0, "A pulse during a triggered shot.");
    case Pulse::TAKEN:
        break;
    }
}

} // namespace

struct Commands::Row {
    unsigned type;
    unsigned firstProtocol;
    unsigned lastProtocol;
    Reply (Commands::*carryOut)(const Request&);
    bool isSilent = false;
};

const Commands::Row* Commands::findRow(unsigned type) {
    static const Row rows[] = {
        {CMD_TRAJ_SEND_V2, 0, 300, &Commands::upload},
        {CMD_TRAJ_EXEC_V2, 0, 300, &Commands::start},
        {CMD_TRAJ_SEND_V3, 301, ANY_PROTOCOL, &Commands::upload},
        {CMD_TRAJ_EXEC_V3, 301, ANY_PROTOCOL, &Commands::start},
        {CMD_REBOOT, 0, ANY_PROTOCOL, &Commands::reboot},
        {CMD_TRAJ_STOP, 0, ANY_PROTOCOL, &Commands::stop, true},
        {CMD_CLOSE, 0, ANY_PROTOCOL, &Commands::close, true},
        {CMD_PARAM_GET, 0, 299, &Commands::readParameter},
        {CMD_PARAM_SET, 0, 299, &Commands::writeParameter},
        {CMD_BOARD_CMD, 0, ANY_PROTOCOL, &Commands::boardCommand},
        {CMD_SYSTEM_STATE, 300, ANY_PROTOCOL, &Commands::systemState},
        {CMD_CHANNEL_STATE, 300, ANY_PROTOCOL, &Commands::channelState},
        {CMD_BACKPANEL_CONFIG, 301, ANY_PROTOCOL, &Commands::backPanel},
        {CMD_AMPLIFIER_POWER_SUPPLY, 300, ANY_PROTOCOL, &Commands::amplifierSupply},
        {CMD_SEND_HEARTBEAT, 300, ANY_PROTOCOL, &Commands::heartBeat, true},
        {CMD_TRIGGER_PULSE, 300, ANY_PROTOCOL, &Commands::triggerPulse},
        {CMD_WAIT, 300, ANY_PROTOCOL, &Commands::wait},
    };
    for (const Row& row : rows) {
        if (row.type == type) {
            return &row;
        }
    }
    return nullptr;
}

bool Commands::isSilent(unsigned type) {
    const Row* row = findRow(type);
    return row && row->isSilent;
}

Reply Commands::carryOut(const Request& request) {
    const Row* row = findRow(request.type);
    const unsigned protocol = m_hardware.description().protocolNumber;
    if (!row || protocol < row->firstProtocol || protocol > row->lastProtocol) {
        refuse(UNKNOWN_COMMAND, request.type, "Unknown command %u.", request.type);
    }
    try {
        Reply reply = (this->*row->carryOut)(request);
        if (m_hardware.takeSlaveReset()) {
            m_mot.reboot();
        }
        reply.isSilent = row->isSilent;
        return reply;
    } catch (const ShortData&) {
        refuse(BAD_INPUT_SIZE, static_cast<std::uint32_t>(request.payload.size()),
               "Command %u with %zu bytes of payload: too short.", request.type,
               request.payload.size());
    }
}

// --- shooting ---

Reply Commands::upload(const Request& request) {
    Upload upload = readUpload(m_hardware, request.payload);
    m_executor.settle();
    if (m_executor.isBusyWith(upload.buffer)) {
        refuse(EDIT_WHILE_EXEC, upload.buffer, "Buffer %u is being executed.",
               static_cast<unsigned>(upload.buffer));
    }
    const bool isEmpty = upload.trajectory->shots.empty();
    m_hardware.store(upload.buffer, isEmpty ? nullptr : std::move(upload.trajectory));
    return {};
}

Job Commands::readStart(const Request& request) {
    const bool isV3 = m_hardware.description().hasV3Uploads();
    ByteReader reader(request.payload);
    Job job;
    ExecutionRecord& record = job.record;
    record.buffer = reader.u32();
    record.count = reader.u32();
    record.delay = reader.u32();
    reader.skip(isV3 ? 0 : 4);
    record.id = reader.u32();
    if (!isV3) {
        reader.skip(4);
        record.elecMode = reader.u8();
        record.mechMode = reader.u8();
        record.trigMode = reader.u8();
        reader.skip(37);
    }
    needEnd(reader);
    if (record.buffer >= m_hardware.description().bufferCount) {
        refuse(OUT_OF_RANGE, record.buffer, "Bad buffer index %u.", record.buffer);
    }
    job.trajectory = m_hardware.trajectory(record.buffer);
    if (!job.trajectory) {
        refuse(NOTHING_TO_EXECUTE, record.buffer, "Buffer %u is empty.", record.buffer);
    }
    if (isV3) {
        record.flags = job.trajectory->flags;
        record.elecMode = job.trajectory->elecMode;
        record.mechMode = job.trajectory->mechMode;
        record.trigMode = job.trajectory->trigMode;
    }
    return job;
}

void Commands::checkStart(const Job& job) {
    const ExecutionRecord& record = job.record;
    const Description& description = m_hardware.description();
    if (!description.hasV3Uploads()) {
        const ExecModes modes{record.elecMode, record.mechMode, record.trigMode};
        checkModes(m_hardware, modes, record.flags);
        checkShots(m_hardware, *job.trajectory, modes);
    }
    if (record.count == 0) {
        refuse(INCORRECT_PARAMETER, 0, "Nothing to do: execution count 0.");
    }
    if (const char* obstacle = m_hardware.obstacle()) {
        refuse(UNAVAILABLE_HARDWARE, 0, "%s", obstacle);
    }
    // The threshold may have been lowered since the upload.
    checkAmplitudes(m_hardware, *job.trajectory);
    if (record.mechMode != EXEC_MECH_NONE && !m_mot.isPrepared()) {
        refuse(NOTHING_TO_EXECUTE, record.mechMode, "No displacement is prepared.");
    }
    const std::uint32_t least = description.isV2() ? description.timing.minTrajectoryDelay : 0;
    const std::uint32_t most = m_hardware.maxTrajectoryDelay(record.elecMode);
    const bool isTriggered = record.trigMode >= EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY;
    if (record.count > 1 &&
        (record.delay < least || record.delay > most || (isTriggered && record.delay != 0))) {
        refuse(OUT_OF_RANGE, record.delay, "Bad delay %u us between executions.",
               static_cast<unsigned>(record.delay));
    }
}

Reply Commands::start(const Request& request) {
    Reply reply;
    reply.job = readStart(request);
    checkStart(*reply.job);
    m_executor.settle();
    if (m_executor.isBusy()) {
        if (!m_executor.canSwitchTo(reply.job->record.buffer)) {
            refuse(CANNOT_SWITCH, reply.job->record.buffer, "An execution is running.");
        }
        m_executor.stopAndWait(STOP_SWITCHED);
    }
    return reply;
}

Reply Commands::stop(const Request&) {
    m_control.stop(STOP_USER);
    return {};
}

Reply Commands::close(const Request&) {
    Reply reply;
    reply.isEnd = true;
    return reply;
}

Reply Commands::heartBeat(const Request&) {
    m_control.heartBeat();
    return {};
}

Reply Commands::triggerPulse(const Request& request) {
    needEnd(ByteReader(request.payload));
    Reply reply;
    reply.isPulse = m_control.expectedPulse() == Pulse::TAKEN;
    if (!reply.isPulse) {
        refusePulse(m_control.pulse());
    }
    return reply;
}

Reply Commands::wait(const Request& request) {
    ByteReader reader(request.payload);
    Reply reply;
    reply.waitUs = reader.u32();
    needEnd(reader);
    if (reply.waitUs > MAX_WAIT_US) {
        refuse(OUT_OF_RANGE, reply.waitUs, "That is too long to wait.");
    }
    return reply;
}

// --- parameters and states ---

Reply Commands::readParameter(const Request& request) {
    Reply reply;
    reply.type = ANSWER_PARAM;
    reply.payload = readGeneratorParameter(m_hardware, request.payload);
    return reply;
}

Reply Commands::writeParameter(const Request& request) {
    writeGeneratorParameter(m_hardware, request.payload);
    return {};
}

Reply Commands::boardCommand(const Request& request) {
    Reply reply;
    reply.type = ANSWER_BOARD;
    reply.payload = carryOutBoardCommand(m_hardware, m_mot, request.payload);
    return reply;
}

Reply Commands::systemState(const Request& request) {
    needEnd(ByteReader(request.payload));
    const auto entries = m_hardware.systemState();
    Reply reply;
    reply.type = ANSWER_SYSTEM_STATE;
    ByteWriter writer(reply.payload);
    writer.u32(static_cast<std::uint32_t>(entries.size()));
    for (const auto& [hwid, address, status] : entries) {
        writer.u8(hwid).u8(address).u16(0).u32(status);
    }
    return reply;
}

Reply Commands::channelState(const Request& request) {
    Reply reply;
    if (request.payload.empty()) {
        reply.type = ANSWER_CHANNEL_STATE;
        appendChannelStates(m_hardware, reply.payload);
        return reply;
    }
    ByteReader reader(request.payload);
    writeChannelStates(m_hardware, reader);
    return reply;
}

Reply Commands::backPanel(const Request& request) {
    ByteReader reader(request.payload);
    const std::uint32_t command = reader.u32();
    Reply reply;
    switch (command) {
    case BKP_CMD_READ:
        reply.type = ANSWER_BACKPANEL;
        reply.payload = m_backPanel.read(reader);
        break;
    case BKP_CMD_SET:
        m_backPanel.set(reader);
        reply.endsLink = true;
        break;
    case BKP_CMD_CLEAR:
        m_backPanel.clear(reader);
        break;
    default:
        refuse(INCORRECT_PARAMETER, command, "Unknown command for the back panel.");
    }
    return reply;
}

// The answer comes when the slave boards are there again, but before everything goes down.
Reply Commands::reboot(const Request& request) {
    ByteReader reader(request.payload);
    const std::uint32_t what = reader.u32();
    needEnd(reader);
    Reply reply;
    reply.endsLink = true;
    switch (what) {
    case REBOOT_ALL:
        m_machine.isToReboot = true;
        break;
    case REBOOT_SLAVES:
        m_executor.stopAndWait(STOP_ABANDONED);
        m_hardware.rebootSlaves();
        reply.waitUs = static_cast<std::uint32_t>(m_machine.description.slaveRebootSeconds * 1e6);
        break;
    default:
        refuse(INCORRECT_PARAMETER, what, "Nothing to reboot: %u.", static_cast<unsigned>(what));
    }
    return reply;
}

Reply Commands::amplifierSupply(const Request& request) {
    ByteReader reader(request.payload);
    const std::uint32_t state = reader.u32();
    needEnd(reader);
    if (state > 1) {
        refuse(INCORRECT_PARAMETER, state, "The supply can be off (0) or on (1).");
    }
    m_hardware.switchAmplifiers(state == 1);
    return {};
}

} // namespace simulator
} // namespace fus
