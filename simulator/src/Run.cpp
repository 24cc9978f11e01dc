#include "Run.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

// So much simulated time at most passes between two looks at what protects the generator.
constexpr std::uint64_t WATCH_US = 20000;
constexpr unsigned PULSE_SLICE_MS = 20;
constexpr unsigned MOTION_SLICE_MS = 2;

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
      m_seed(seed), m_manualStates(environment.hardware.manualChannelStates()),
      m_ramps(static_cast<double>(environment.hardware.upb(BPARAM_UPB_RAMP_START_TIME)) +
              static_cast<double>(environment.hardware.upb(BPARAM_UPB_RAMP_END_TIME))),
      m_currentThreshold(static_cast<unsigned>(environment.hardware.upb(BPARAM_UPB_MAX_Iout_Prev))),
      m_models(m_trajectory.shots.size()), m_channelVersion(environment.hardware.channelVersion()),
      m_out(job.before), m_holding(!job.before.empty()) {
    m_ownStates = environment.hardware.ownChannelStates();
    for (std::size_t i = 0; i < m_trajectory.channels.size(); ++i) {
        if (m_trajectory.channels[i]) {
            m_activeChannels.push_back(i);
        }
    }
}

void Run::go() {
    m_env.control.startClock();
    m_env.hardware.beginShooting();
    shootAll();
    m_env.hardware.endShooting();
    finish();
}

bool Run::shootAll() {
    if (m_record.trigMode == EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING && !waitForPulse()) {
        return false;
    }
    if (m_record.trigMode != EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY) {
        startMotion();
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
    if (m_record.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY) {
        if (!waitForPulse()) {
            return false;
        }
        startMotion();
    }
    const std::size_t count = m_trajectory.shots.size();
    for (m_shot = 0; m_shot < count; ++m_shot) {
        if (!shoot(m_trajectory.shots[m_shot])) {
            return false;
        }
        ++m_shotsDone;
    }
    m_shot = count - 1;
    if (remaining() == 0 && !waitForMotion()) {
        return false;
    }
    ++m_executionsDone;
    if (wantsExecutionResult()) {
        sendExecutionResult(nullptr);
    }
    return true;
}

bool Run::shoot(const Shot& shot) {
    if (!applyFaults()) {
        return false;
    }
    const bool isTriggered = m_record.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_SHOT;
    m_shooting = std::uint64_t{shot.duration} + extraTime(FaultKind::SLOW_SHOT);
    m_delay = std::uint64_t{shot.delay} + extraTime(FaultKind::LATE_SHOT);
    if (isTriggered && !(waitForPulse() && pass(m_delay))) {
        return false;
    }
    return fire(shot) && (isTriggered || pass(m_delay)) && keepsTolerances(shot);
}

bool Run::fire(const Shot& shot) {
    const std::shared_ptr<const ShotModel> model = modelOf(m_shot);
    const Description& description = m_env.hardware.description();
    const bool isCut = m_shooting > description.watchdogUs &&
                       !(m_env.faults.any() && m_env.faults.has(FaultKind::NO_WATCHDOG));
    if (isCut) {
        m_shooting = description.watchdogUs;
    }
    if (!isSafe(m_env.hardware.beginShot(*model)) || !pass(m_shooting)) {
        return false;
    }
    if (wantsShotResults()) {
        sendShotResult(*model, shot);
    }
    m_env.hardware.endShot();
    return !isCut || !description.detectsWatchdog() || isSafe(Alarm(STOP_WATCHDOG));
}

// Of what was measured against what was asked for.
bool Run::keepsTolerances(const Shot& shot) {
    if (m_shooting == shot.duration && m_delay == shot.delay) {
        return true;
    }
    const auto gap = [](std::uint64_t a, std::uint64_t b) { return a > b ? a - b : b - a; };
    const bool isKept =
        gap(m_shooting, shot.duration) <= m_env.hardware.upb(BPARAM_UPB_SHOOTING_TOLERANCE) &&
        gap(m_shooting + m_delay, std::uint64_t{shot.duration} + shot.delay) <=
            m_env.hardware.upb(BPARAM_UPB_TOTAL_SHOT_TOLERANCE);
    return isKept || isSafe(Alarm(STOP_TIMING));
}

std::uint32_t Run::extraTime(FaultKind kind) const {
    if (!m_env.faults.any()) {
        return 0;
    }
    const auto fault = m_env.faults.at(kind, m_execution, static_cast<std::uint32_t>(m_shot));
    return fault ? fault->value : 0;
}

// Faults that strike before a shot. False when the execution is to stop.
bool Run::applyFaults() {
    if (!m_env.faults.any()) {
        return true;
    }
    const auto shot = static_cast<std::uint32_t>(m_shot);
    const auto channel = m_env.faults.at(FaultKind::CHANNEL_OFF, m_execution, shot);
    if (channel && channel->value < m_manualStates.size()) {
        m_env.hardware.shutOffChannel(channel->value);
    }
    const auto board = m_env.faults.at(FaultKind::BOARD_OFF, m_execution, shot);
    if (board && m_env.hardware.description().findBoard(HWID_AMPLIFIER, board->address)) {
        m_env.hardware.disableAmplifier(board->address);
    }
    const StopReason* reason = m_env.faults.stopAt(m_execution, shot);
    return !reason || isSafe(Alarm(*reason));
}

// Whatever there is to be alarmed about stops the execution.
bool Run::isSafe(const std::optional<Alarm>& alarm) {
    if (alarm) {
        m_alarm = *alarm;
        m_env.control.stop(*alarm->reason);
    }
    return !alarm;
}

// The mechanical board goes through all of its displacement on the first pulse.
void Run::startMotion() {
    if (m_record.mechMode == EXEC_MECH_NONE || m_motionStarted) {
        return;
    }
    m_motionStarted = true;
    m_env.mot.trigger([&control = m_env.control](const StopReason& why) { control.stop(why); });
}

// The last result tells of the motion, too. False when it has failed.
bool Run::waitForMotion() {
    if (!m_motionStarted) {
        return true;
    }
    while (m_env.mot.isDriven()) {
        if (!flush() || !m_env.control.passReal(MOTION_SLICE_MS)) {
            return false;
        }
    }
    return !m_env.control.stopped();
}

bool Run::waitForPulse() {
    m_env.control.expectPulse();
    if (!flush()) {
        return false;
    }
    m_env.journal.setTriggerWait(true);
    m_env.hardware.holdClock(false);
    while (!m_env.control.waitForPulse(PULSE_SLICE_MS)) {
        isSafe(m_env.hardware.passTime(0)); // the next turn sees the stop
    }
    m_env.hardware.holdClock(true);
    m_env.journal.setTriggerWait(false);
    return !m_env.control.stopped();
}

bool Run::pass(std::uint64_t microseconds) {
    if (m_env.control.isRealTime() && !flush()) {
        return false;
    }
    std::uint64_t left = microseconds;
    do {
        const auto slice = static_cast<std::uint32_t>(std::min(left, WATCH_US));
        if (!m_env.control.pass(slice)) {
            return false;
        }
        if (slice > 0 && !isSafe(m_env.hardware.passTime(slice))) {
            return false;
        }
        left -= slice;
    } while (left > 0);
    return true;
}

void Run::finish() {
    if (m_motionStarted) {
        m_env.mot.stopDriven();
    }
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
    m_env.journal.endExecution(reason ? alarmOf(*reason) : Alarm());
}

// --- what a shot drives ---

const std::shared_ptr<const ShotModel>& Run::modelOf(std::size_t index) {
    if (m_channelVersion != m_env.hardware.channelVersion()) {
        forgetModels();
    }
    std::shared_ptr<const ShotModel>& model = m_models[index];
    if (model) {
        return model;
    }
    // Shots are met in order, so what goes on from the previous one is known.
    const auto& shots = m_trajectory.shots;
    const Shot& shot = shots[index];
    const bool isSame = index > 0 && m_models[index - 1] && shot.frequencies.empty() &&
                        shot.phases.empty() && shot.amplitudes.empty() &&
                        (m_ramps == 0 || shot.duration == shots[index - 1].duration);
    if (index == 0) {
        clearDrive();
    }
    carryOver(shot);
    model = isSame ? m_models[index - 1] : m_env.physics.model(effectiveDrive(shot.duration));
    return model;
}

// The generator has shut something off: what it emits has to be worked out anew, from the first
// shot to this one.
void Run::forgetModels() {
    m_channelVersion = m_env.hardware.channelVersion();
    m_ownStates = m_env.hardware.ownChannelStates();
    std::fill(m_models.begin(), m_models.end(), nullptr);
    clearDrive();
    for (std::size_t i = 0; i < m_shot; ++i) {
        carryOver(m_trajectory.shots[i]);
    }
}

void Run::clearDrive() {
    const std::size_t channels = m_trajectory.channels.size();
    m_drive.frequencies.assign(channels, 0);
    m_drive.phases.assign(channels, 0);
    m_drive.amplitudes.assign(channels, 0);
}

void Run::carryOver(const Shot& shot) {
    spread(shot.frequencies, m_activeChannels, m_drive.frequencies);
    spread(shot.phases, m_activeChannels, m_drive.phases);
    spread(shot.amplitudes, m_activeChannels, m_drive.amplitudes);
}

// Channels that are off emit nothing, and a shot that is too short for the ramps doesn't get as far
// as its amplitude.
Drive Run::effectiveDrive(std::uint32_t duration) const {
    Drive drive = m_drive;
    drive.currentThreshold = m_currentThreshold;
    const double highest = m_ramps > 0 ? std::min(255.0, 255.0 * duration / m_ramps) : 255.0;
    for (std::size_t i = 0; i < drive.amplitudes.size(); ++i) {
        const bool isOn = m_manualStates[i] && m_ownStates[i];
        const double amplitude = isOn ? std::min<double>(drive.amplitudes[i], highest) : 0;
        drive.amplitudes[i] = static_cast<std::uint8_t>(amplitude);
    }
    return drive;
}

} // namespace simulator
} // namespace fus
