#include "Run.h"

#include "Noise.h"
#include "Refusal.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

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

// One value for all channels, or one for each of the first channels; none leaves all as they are.
template <class T>
void spread(const std::vector<T>& values, const std::vector<std::size_t>& channels,
            std::vector<T>& target) {
    if (values.empty()) {
        return;
    }
    const std::size_t count = values.size() == 1 ? channels.size() : values.size();
    for (std::size_t i = 0; i < count; ++i) {
        target[channels[i]] = values.size() == 1 ? values[0] : values[i];
    }
}

} // namespace

Run::Run(const RunEnvironment& environment, const Job& job, std::uint64_t seed)
    : m_env(environment), m_job(job), m_record(job.record), m_trajectory(*job.trajectory),
      m_seed(seed), m_channelStates(environment.hardware.channelStates()),
      m_models(m_trajectory.shots.size()), m_checkedVersions(m_trajectory.shots.size()),
      m_out(job.before), m_holding(!job.before.empty()) {
    const std::size_t channels = m_trajectory.channels.size();
    m_drive.frequencies.resize(channels);
    m_drive.phases.resize(channels);
    m_drive.amplitudes.resize(channels);
    for (std::size_t i = 0; i < channels; ++i) {
        if (m_trajectory.channels[i]) {
            m_activeChannels.push_back(i);
        }
    }
}

void Run::go() {
    m_env.control.startClock();
    shootAll();
    m_env.hardware.setLoad(nullptr);
    finish();
}

bool Run::shootAll() {
    if (m_record.trigMode == EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING && !waitForPulse()) {
        return false;
    }
    for (m_execution = 0; m_execution < m_record.count; ++m_execution) {
        if (m_execution > 0 && m_record.delay > 0 && !pass(m_record.delay)) {
            return false;
        }
        if (!shootOnce()) {
            return false;
        }
        m_env.journal.updateExecution(m_executionsDone, m_shotsDone);
    }
    return true;
}

bool Run::shootOnce() {
    if (m_record.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY && !waitForPulse()) {
        return false;
    }
    const std::size_t count = m_trajectory.shots.size();
    for (m_shot = 0; m_shot < count; ++m_shot) {
        if (!shoot(m_trajectory.shots[m_shot])) {
            return false;
        }
        ++m_shotsDone;
    }
    m_shot = count - 1;
    ++m_executionsDone;
    if (wantsExecutionResult()) {
        sendExecutionResult(nullptr);
    }
    return true;
}

bool Run::shoot(const Shot& shot) {
    const bool isTriggered = m_record.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_SHOT;
    if (isTriggered && !(waitForPulse() && pass(shot.delay))) {
        return false;
    }
    return fire(shot) && (isTriggered || pass(shot.delay));
}

bool Run::fire(const Shot& shot) {
    const std::shared_ptr<const ShotModel> model = modelOf(m_shot);
    if (!mayShoot(*model)) {
        return false;
    }
    m_env.hardware.setLoad(model);
    const std::uint32_t watchdog = m_env.hardware.description().watchdogUs;
    if (shot.duration > watchdog) {
        pass(watchdog);
        m_env.control.stop(STOP_WATCHDOG);
        return false;
    }
    if (!pass(shot.duration)) {
        return false;
    }
    if (wantsShotResults()) {
        sendShotResult(*model, shot);
    }
    return true;
}

bool Run::mayShoot(const ShotModel& model) {
    const StopReason* reason = nullptr;
    if (m_env.faults.any()) {
        reason = m_env.faults.stopAt(m_execution, static_cast<std::uint32_t>(m_shot));
    }
    const unsigned version = m_env.hardware.parameterVersion() + 1;
    if (!reason && m_checkedVersions[m_shot] != version) {
        reason = m_env.hardware.overload(model, m_stopAddress);
        m_checkedVersions[m_shot] = version;
    }
    if (reason) {
        m_env.control.stop(*reason);
    }
    return !reason;
}

bool Run::waitForPulse() {
    m_env.control.expectPulse();
    if (!flush()) {
        return false;
    }
    m_env.journal.setTriggerWait(true);
    const bool pulsed = m_env.control.waitForPulse();
    m_env.journal.setTriggerWait(false);
    return pulsed;
}

bool Run::pass(std::uint32_t microseconds) {
    if (m_env.control.isRealTime() && !flush()) {
        return false;
    }
    return m_env.control.pass(microseconds);
}

void Run::finish() {
    const StopReason* reason = m_env.control.stopped();
    if (m_executionsDone == m_record.count) {
        reason = nullptr; // a stop that came too late
    }
    if (reason && reason != &STOP_ABANDONED) {
        sendExecutionResult(reason);
    }
    m_env.control.end();
    m_holding = false;
    m_out.insert(m_out.end(), m_first ? m_job.afterFirst.begin() : m_job.afterFirst.end(),
                 m_job.afterFirst.end());
    flush();
    m_env.journal.updateExecution(m_executionsDone, m_shotsDone);
    m_env.journal.endExecution(reason ? reason->name : "");
}

// --- what a shot drives ---

const std::shared_ptr<const ShotModel>& Run::modelOf(std::size_t index) {
    std::shared_ptr<const ShotModel>& model = m_models[index];
    if (model) {
        return model;
    }
    // Shots are met in order, so what goes on from the previous one is known.
    const Shot& shot = m_trajectory.shots[index];
    if (index > 0 && shot.frequencies.empty() && shot.phases.empty() && shot.amplitudes.empty()) {
        model = m_models[index - 1];
    } else {
        carryOver(shot);
        model = m_env.physics.model(effectiveDrive());
    }
    return model;
}

void Run::carryOver(const Shot& shot) {
    spread(shot.frequencies, m_activeChannels, m_drive.frequencies);
    spread(shot.phases, m_activeChannels, m_drive.phases);
    spread(shot.amplitudes, m_activeChannels, m_drive.amplitudes);
}

Drive Run::effectiveDrive() const {
    Drive drive = m_drive;
    for (std::size_t i = 0; i < drive.amplitudes.size(); ++i) {
        if (!m_channelStates[i]) {
            drive.amplitudes[i] = 0;
        }
    }
    return drive;
}

// --- results ---

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
    const auto gap = static_cast<std::int32_t>(seed % 5) - 2; // [microseconds]
    const auto error =
        m_env.faults.any()
            ? m_env.faults.shotErrorAt(m_execution, static_cast<std::uint32_t>(m_shot))
            : std::nullopt;
    Packet& packet = newPacket(shot.duration, gap, error ? RESULT_SHOT_ERROR : RESULT_SHOT);
    if (error) {
        ByteWriter(packet.payload).text(*error);
    } else {
        const bool withBoards = (m_record.flags & EXEC_FLAG_ADD_BOARD_MEASURES) != 0;
        m_env.physics.appendMeasures(model, withBoards, seed, packet.payload);
    }
    post(packet);
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
        writer.u32(reason   ? reason->v3Code
                   : isLast ? V3_EXEC_FINISHED
                            : V3_EXEC_CONTINUE)
            .u32(0)
            .u8(reason ? reason->hwid : HWID_PROCESSOR)
            .u8(reason ? m_stopAddress : 0)
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
