#include "fus/TrajectoryBufferInfo.h"
#include "fus/ElectronicTrajectory.h"
#include "fus/FUSEvent.h"

#include <utility>

namespace fus {

TrajectoryBufferInfo::TrajectoryBufferInfo(unsigned buffer) : m_buffer(buffer) {}

TrajectoryBufferInfo::~TrajectoryBufferInfo() = default;

const unsigned* TrajectoryBufferInfo::shotsTotalDurations() const {
    return m_shotsTotalDurations.empty() ? nullptr : m_shotsTotalDurations.data();
}

void TrajectoryBufferInfo::onSend(const ElectronicTrajectory& trajectory,
                                  gprotocol::ElecExecMode elec, gprotocol::TriggerMode trigger,
                                  gprotocol::MechExecMode mech, unsigned flags) {
    std::vector<unsigned> durations(trajectory.size());
    for (unsigned i = 0; i < trajectory.size(); ++i) {
        durations[i] = trajectory[i].totalDuration();
    }
    m_elecMode = elec;
    m_triggerMode = trigger;
    m_mechMode = mech;
    m_executionFlags = flags;
    m_shotCount = trajectory.size();
    m_trajectoryTotalDuration = trajectory.totalDuration();
    m_shotsTotalDurations = std::move(durations);
}

void TrajectoryBufferInfo::onExecute(unsigned executionID, unsigned executionCount,
                                     unsigned delay_us) {
    m_executionCount = executionCount;
    m_executionDelayUs = delay_us;
    m_executionID = executionID;
}

std::unique_ptr<ExecStartEvent> TrajectoryBufferInfo::makeStartEvent() const {
    return std::make_unique<ExecStartEvent>(m_executionID, m_executionCount, m_executionFlags,
                                            m_elecMode, m_triggerMode, m_mechMode);
}

} // namespace fus
