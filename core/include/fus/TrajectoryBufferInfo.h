#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"

#include <atomic>
#include <memory>
#include <vector>

namespace fus {

class ElectronicTrajectory;
class ExecStartEvent;

/// What the client knows about one trajectory buffer of the generator: what was uploaded last, and
/// how it was started last. Made anew at every connect; a new record knows nothing, and its
/// electronic mode is NEVER_USED.
///
/// Every field may be read while another thread uploads or starts, with two limits: the fields of
/// one upload do not change together, and the array of shotsTotalDurations() is for the thread
/// that uploads into this buffer.
class FUS_API TrajectoryBufferInfo {
public:
    /// Electronic mode of a buffer that never received a trajectory; no enumerator has it.
    static constexpr gprotocol::ElecExecMode NEVER_USED = static_cast<gprotocol::ElecExecMode>(123);

    explicit TrajectoryBufferInfo(unsigned buffer);
    ~TrajectoryBufferInfo();
    TrajectoryBufferInfo(const TrajectoryBufferInfo&) = delete;
    TrajectoryBufferInfo& operator=(const TrajectoryBufferInfo&) = delete;

    /// Id of the execution started last with results wanted, 0 if none.
    unsigned executionID() const { return m_executionID; }
    unsigned shotCount() const { return m_shotCount; }
    /// Repetitions asked for at the last execution.
    unsigned executionCount() const { return m_executionCount; }
    /// ExecFlag bits, as sent.
    unsigned executionFlags() const { return m_executionFlags; }
    gprotocol::ElecExecMode electronicExecutionMode() const { return m_elecMode; }
    gprotocol::MechExecMode mechanicalExecutionMode() const { return m_mechMode; }
    gprotocol::TriggerMode triggerMode() const { return m_triggerMode; }
    /// Delay between repetitions [us].
    unsigned executionDelayUs() const { return m_executionDelayUs; }
    /// Sum over the shots of duration + delay [us], wrapping at 32 bits.
    unsigned trajectoryTotalDuration() const { return m_trajectoryTotalDuration; }
    /// shotCount() values, each shot's duration + delay [us]; null without shots.
    const unsigned* shotsTotalDurations() const;

    /// Records an upload that was acknowledged; the execution fields keep their values.
    void onSend(const ElectronicTrajectory& trajectory, gprotocol::ElecExecMode elec,
                gprotocol::TriggerMode trigger, gprotocol::MechExecMode mech, unsigned flags);
    /// Records a start, with results wanted, that was acknowledged.
    void onExecute(unsigned executionID, unsigned executionCount, unsigned delay_us);
    /// The event that tells listeners about the start recorded last.
    std::unique_ptr<ExecStartEvent> makeStartEvent() const;

private:
    // Read by the reader thread while an application thread writes.
    const unsigned m_buffer;
    std::atomic<unsigned> m_executionID{0};
    std::atomic<unsigned> m_shotCount{0};
    std::atomic<unsigned> m_executionCount{0};
    std::atomic<unsigned> m_executionFlags{0};
    std::atomic<gprotocol::ElecExecMode> m_elecMode{NEVER_USED};
    std::atomic<gprotocol::MechExecMode> m_mechMode{static_cast<gprotocol::MechExecMode>(0)};
    std::atomic<gprotocol::TriggerMode> m_triggerMode{static_cast<gprotocol::TriggerMode>(0)};
    std::atomic<unsigned> m_executionDelayUs{0};
    std::atomic<unsigned> m_trajectoryTotalDuration{0};

    // Touched by the uploading thread alone.
    std::vector<unsigned> m_shotsTotalDurations;
};

} // namespace fus
