// What an execution sends.
#include "Noise.h"
#include "Refusal.h"
#include "Run.h"

#include "fus/P_GProtocol.h"

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::size_t BLOCK_SIZE = 65536; // results are sent in blocks of this size in a flood

constexpr unsigned RESULT_SHOT = 29;
constexpr unsigned RESULT_SHOT_ERROR = 30;
constexpr unsigned RESULT_EXEC_V2 = 31;
constexpr unsigned RESULT_EXEC_V3 = 32;

constexpr int V2_EXEC_OK = 1030;
constexpr std::uint32_t V3_EXEC_CONTINUE = 0x38000000;
constexpr std::uint32_t V3_EXEC_FINISHED = 0x38000001;

} // namespace

bool Run::wantsShotResults() const {
    return m_record.id != 0 && m_record.elecMode == EXEC_ELEC_NORMAL &&
           !(m_record.flags & EXEC_FLAG_OMIT_ALL_MEASURES);
}

bool Run::wantsExecutionResult() const {
    const bool onlyLast = m_record.elecMode == EXEC_ELEC_REPEAT ||
                          m_record.elecMode == EXEC_ELEC_COMPOSITE ||
                          (m_record.flags & EXEC_FLAG_OMIT_EXEC_RESULTS);
    return !onlyLast || remaining() == 0;
}

std::uint32_t Run::remaining() const {
    return m_record.count - m_execution - 1;
}

Packet& Run::newPacket(std::uint32_t duration, std::int32_t gap, unsigned resultType) {
    m_packet.id = m_record.id;
    m_packet.type = ANSWER_EXEC_ASYNC;
    m_packet.liesAboutSize = false;
    m_packet.payload.clear();
    ByteWriter(m_packet.payload)
        .u32(static_cast<std::uint32_t>(m_trajectory.channels.size()))
        .u32(duration)
        .u32(static_cast<std::uint32_t>(m_shot))
        .u32(static_cast<std::uint32_t>(gap))
        .u32(remaining())
        .u16(0)
        .u8(resultType)
        .u8(0)
        .u32(0);
    return m_packet;
}

void Run::sendShotResult(const ShotModel& model, const Shot& shot) {
    const std::uint64_t seed = mixedSeed(m_seed, m_execution, static_cast<std::uint64_t>(m_shot));
    const auto wanted = static_cast<std::int64_t>(std::uint64_t{shot.duration} + shot.delay);
    const std::int64_t jitter = static_cast<std::int64_t>(seed % 5) - 2; // [microseconds]
    const std::int64_t gap = static_cast<std::int64_t>(m_shooting + m_delay) - wanted + jitter;
    const auto error =
        m_env.faults.any()
            ? m_env.faults.shotErrorAt(m_execution, static_cast<std::uint32_t>(m_shot))
            : std::nullopt;
    Packet& packet =
        newPacket(static_cast<std::uint32_t>(m_shooting), static_cast<std::int32_t>(gap),
                  error ? RESULT_SHOT_ERROR : RESULT_SHOT);
    if (error) {
        ByteWriter(packet.payload).text(*error);
    } else {
        m_env.physics.appendMeasures(model, seed, packet.payload);
        if (m_record.flags & EXEC_FLAG_ADD_BOARD_MEASURES) {
            m_env.physics.appendBoardMeasures(m_env.hardware.amplifierReadings(), packet.payload);
        }
    }
    post(packet);
}

Alarm Run::alarmOf(const StopReason& reason) const {
    return m_alarm.reason == &reason ? m_alarm : Alarm(reason);
}

void Run::sendExecutionResult(const StopReason* reason) {
    if (m_record.id == 0) {
        return;
    }
    if (reason || remaining() == 0) {
        m_env.control.end();
    }
    const bool isV2 = m_env.hardware.description().isV2();
    Packet& packet = newPacket(0, 0, isV2 ? RESULT_EXEC_V2 : RESULT_EXEC_V3);
    const bool isLast = remaining() == 0;
    const std::string text = reason   ? reason->text
                             : isLast ? "Execution finished."
                                      : "Execution done, others follow.";
    ByteWriter writer(packet.payload);
    if (isV2) {
        writer.text(formatted("<%d> ", reason ? reason->v2Code : V2_EXEC_OK) + text);
    } else {
        const Alarm alarm = reason ? alarmOf(*reason) : Alarm();
        writer.u32(reason   ? alarm.v3Code
                   : isLast ? V3_EXEC_FINISHED
                            : V3_EXEC_CONTINUE)
            .u32(alarm.argument)
            .u8(reason ? alarm.hwid : HWID_PROCESSOR)
            .u8(alarm.address)
            .u16(static_cast<std::uint32_t>(text.size()) + 1)
            .u32(0)
            .text(text)
            .u8(0);
    }
    post(packet);
}

void Run::post(Packet& packet) {
    FaultBook::Verdict verdict;
    if (m_env.faults.any()) {
        verdict = m_env.faults.distort(0, packet);
    }
    if (verdict.lateMs > 0) {
        m_env.control.passReal(verdict.lateMs);
    }
    if (!verdict.missing) {
        packet.appendTo(m_out);
    }
    if (m_first) {
        ByteWriter(m_out).bytes(m_job.afterFirst);
    }
    m_first = false;
    m_holding = false;
    if (m_out.size() >= BLOCK_SIZE) {
        flush();
    }
}

// False when the client has gone.
bool Run::flush() {
    if (m_holding || m_out.empty()) {
        return true;
    }
    const bool sent = m_job.outlet->send(m_out);
    m_out.clear();
    if (!sent) {
        m_env.control.stop(STOP_ABANDONED);
    }
    return sent;
}

} // namespace simulator
} // namespace fus
