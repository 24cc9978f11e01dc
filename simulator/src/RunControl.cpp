#include "RunControl.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

// A heart-beat time-out can be set while an execution waits: so often it is looked at.
constexpr std::chrono::milliseconds SLICE{50};

} // namespace

RunControl::RunControl(const Hardware& hardware, double timeScale)
    : m_hardware(hardware), m_timeScale(timeScale) {}

void RunControl::begin(unsigned trigMode, unsigned flags) {
    heartBeat();
    loadHeartBeatTimeout();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_stop = nullptr;
    m_running = true;
    m_waitsForPulse = trigMode != EXEC_TRIGGER_IGNORED;
    m_pulsed = false;
    m_trigMode = trigMode;
    m_flags = flags;
}

void RunControl::end() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_running = false;
}

bool RunControl::isRunning() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_running;
}

void RunControl::startClock() {
    m_clockStart = Clock::now();
    m_elapsed = 0;
}

void RunControl::loadHeartBeatTimeout() {
    m_parameterVersion = m_hardware.parameterVersion();
    const std::uint64_t timeout = m_hardware.upb(BPARAM_UPB_EXEC_HEARTBEAT_TIMEOUT);
    m_heartBeatTimeout = std::chrono::microseconds(std::min<std::uint64_t>(timeout, 0xFFFFFFFFU));
}

// False when it has failed to come.
bool RunControl::checkHeartBeat() {
    if (m_parameterVersion != m_hardware.parameterVersion()) {
        const bool wasOff = m_heartBeatTimeout.count() == 0;
        loadHeartBeatTimeout();
        if (wasOff) {
            heartBeat(); // the time counts from when it was set
        }
    }
    if (m_heartBeatTimeout.count() == 0) {
        return true;
    }
    const Clock::time_point last{Clock::duration(m_lastBeat)};
    return Clock::now() - last <= m_heartBeatTimeout;
}

bool RunControl::pass(std::uint32_t microseconds) {
    if (!checkHeartBeat()) {
        stop(STOP_HEARTBEAT);
    }
    if (!isRealTime() || stopped()) {
        return !stopped();
    }
    m_elapsed += microseconds;
    const std::chrono::duration<double, std::micro> real(m_elapsed * m_timeScale);
    std::unique_lock<std::mutex> lock(m_mutex);
    return waitUntil(lock, m_clockStart + std::chrono::duration_cast<Clock::duration>(real));
}

bool RunControl::passReal(std::uint32_t milliseconds) {
    std::unique_lock<std::mutex> lock(m_mutex);
    return waitUntil(lock, Clock::now() + std::chrono::milliseconds(milliseconds));
}

// False when the execution is to stop before that time.
bool RunControl::waitUntil(std::unique_lock<std::mutex>& lock, Clock::time_point deadline) {
    while (!stopped() && Clock::now() < deadline) {
        m_changed.wait_until(lock, std::min(deadline, Clock::now() + SLICE));
        if (!checkHeartBeat() && !stopped()) {
            m_stop = &STOP_HEARTBEAT;
        }
    }
    return !stopped();
}

void RunControl::expectPulse() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_waitsForPulse = !m_pulsed; // it may have come already
}

bool RunControl::waitForPulse(unsigned milliseconds) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                       [this] { return m_pulsed || stopped(); });
    if (!checkHeartBeat() && !stopped()) {
        m_stop = &STOP_HEARTBEAT;
    }
    if (!m_pulsed && !stopped()) {
        return false;
    }
    m_waitsForPulse = false;
    m_pulsed = false;
    startClock();
    return true;
}

bool RunControl::stop(const StopReason& reason) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_running) {
        return false;
    }
    if (!stopped()) {
        m_stop = &reason;
    }
    m_changed.notify_all();
    return true;
}

Pulse RunControl::outcomeOfPulse() const {
    return !m_running                           ? Pulse::NOT_RUNNING
           : m_trigMode == EXEC_TRIGGER_IGNORED ? Pulse::NOT_EXPECTED
           : m_waitsForPulse                    ? Pulse::TAKEN
                                                : Pulse::UNEXPECTED;
}

Pulse RunControl::expectedPulse() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return outcomeOfPulse();
}

Pulse RunControl::pulse() {
    std::lock_guard<std::mutex> lock(m_mutex);
    const Pulse outcome = outcomeOfPulse();
    const bool isIgnored = (m_flags & EXEC_FLAG_IGNORE_UNEXP_TRIGGER) != 0;
    if (outcome == Pulse::TAKEN) {
        m_pulsed = true;
        m_waitsForPulse = false;
    } else if (outcome == Pulse::UNEXPECTED && !isIgnored && !stopped()) {
        m_stop = &STOP_TRIGGER;
    }
    m_changed.notify_all();
    return outcome;
}

void RunControl::heartBeat() {
    m_lastBeat = Clock::now().time_since_epoch().count();
}

} // namespace simulator
} // namespace fus
