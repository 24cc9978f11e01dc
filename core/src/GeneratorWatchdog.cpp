#include "fus/Generator.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/FUSEvent.h"
#include "fus/P_GeneratorPrivate.h"
#include "fus/P_GeneratorSettingsTables.h"
#include "fus/P_LogMacros.h"
#include "fus/Utilities.h"

namespace fus {

namespace {

using namespace gprotocol;

constexpr unsigned SHOT_LIMIT = 2200000; // [us], what a working watchdog cuts a shot to
constexpr unsigned EXCESS = 500000;      // [us], by which the shot is too long
constexpr unsigned FREQUENCY = 1000000;  // [Hz]
constexpr unsigned GRACE = 500;          // [ms], for the results to arrive
constexpr unsigned STEP = 100;           // [ms]

/// One shot on all channels that emits nothing.
ElectronicTrajectory silentTrajectory(unsigned channels, unsigned duration) {
    PhaseShot shot(1, 1, 1);
    shot.setFrequency(0, FREQUENCY);
    shot.setDuration(duration, 0);
    ElectronicTrajectory trajectory(channels);
    trajectory.addShot(shot);
    return trajectory;
}

void waitForEnd(const WatchdogCheckListener& listener, unsigned duration) {
    const unsigned timeout = duration / 1000 + GRACE;
    FUS_LOG(VERBOSE, "waitExecution (timeout_ms = %u)", timeout);
    const unsigned most = timeout / STEP + 2;
    unsigned steps = 0;
    do {
        milliSleep(STEP); // first: the event of the start has yet to come
    } while (++steps < most && listener.isRunning());
}

} // namespace

void WatchdogCheckListener::reset() {
    m_running = false;
    m_passed = false;
}

void WatchdogCheckListener::handleEvent(FUSEvent* event) {
    if (event->type() == FUSEvent::EVENT_EXEC_START) {
        m_passed = false;
        m_running = true;
    } else if (event->type() == FUSEvent::EVENT_SHOT_RESULT) {
        m_passed = static_cast<const ShotEvent&>(*event).shotResult().duration() < SHOT_LIMIT;
    } else if (event->type() == FUSEvent::EVENT_EXEC_RESULT) {
        const auto status = static_cast<const ExecEvent&>(*event).execResult().status();
        if (status == ExecResult::EXEC_STOP_WATCHDOG) {
            m_passed = true;
        }
        if (status != ExecResult::EXEC_OK_CONTINUE) {
            m_running = false; // last: whoever polls it looks at the other flag then
        }
    }
}

bool Generator::checkWatchdog() {
    FUS_LOG(INFO, "checkWatchdog");
    const auto connection = m_private->connectionSinceV3();
    const GeneratorConfig& config = connection->config();
    const unsigned duration = config.getTiming(TIME_MAX_SHOOTING) + EXCESS;
    FUS_LOG(VERBOSE, "badDuration_us = %u", duration);
    ElectronicTrajectory trajectory = silentTrajectory(config.getCount(NB_CHANNELS), duration);

    connection->writeBoardParam(HWID_PROCESSOR, 0, BPARAM_UPB_TRAJ_CHECKS, TRAJ_CHECKS_OFF);
    setSecureMode(false);
    WatchdogCheckListener& listener = m_private->watchdogListener;
    listener.reset();
    m_private->upcalls.registerListener(&listener);
    const bool passed = runTooLongShot(trajectory, duration);
    m_private->upcalls.unregisterListener(&listener);
    setSecureMode(true);
    // by the connection of now: the one of above may be gone
    writeBoardParam(BOARD_PROCESSOR, 0, BPARAM_UPB_TRAJ_CHECKS, TRAJ_CHECKS_ON);
    return passed;
}

bool Generator::runTooLongShot(ElectronicTrajectory& trajectory, unsigned duration) {
    const WatchdogCheckListener& listener = m_private->watchdogListener;
    try {
        sendTrajectory(0, trajectory, EXEC_ELEC_NORMAL, EXEC_TRIGGER_IGNORED, EXEC_MECH_NONE, 0,
                       false, false);
        executeTrajectory(0, 1, 0, true);
        waitForEnd(listener, duration);
        if (listener.hasPassed()) {
            return true;
        }
    } catch (const FUSException&) {
        // a check that couldn't be made hasn't passed
    }
    try {
        stopTrajectory();
    } catch (const FUSException&) {
        // what matters now is that everything is turned on again
    }
    return false;
}

} // namespace fus
