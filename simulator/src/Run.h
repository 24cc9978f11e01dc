// One execution, from its start command to its last result.
#pragma once

#include "FaultBook.h"
#include "Hardware.h"
#include "Journal.h"
#include "MotBoard.h"
#include "Outlet.h"
#include "Packet.h"
#include "Physics.h"
#include "RunControl.h"
#include "Upload.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace fus {
namespace simulator {

struct Job {
    ExecutionRecord record;
    std::shared_ptr<const Trajectory> trajectory;
    std::shared_ptr<Outlet> outlet;
    Bytes before;     // goes out in one block with the first packet
    Bytes afterFirst; // goes out behind the first packet
};

// What all executions share.
struct RunEnvironment {
    Hardware& hardware;
    const Physics& physics;
    FaultBook& faults;
    Journal& journal;
    RunControl& control;
    MotBoard& mot;
};

class Run {
public:
    Run(const RunEnvironment& environment, const Job& job, std::uint64_t seed);

    // Shoots until the end or a stop, and sends the results.
    void go();

private:
    bool shootAll();
    bool shootOnce();
    bool shoot(const Shot& shot);
    bool fire(const Shot& shot);
    bool keepsTolerances(const Shot& shot);
    bool waitForPulse();
    void startMotion();
    bool waitForMotion();
    bool pass(std::uint64_t microseconds);
    bool isSafe(const std::optional<Alarm>& alarm);
    bool applyFaults();
    std::uint32_t extraTime(FaultKind kind) const;
    void finish();

    const std::shared_ptr<const ShotModel>& modelOf(std::size_t shot);
    void clearDrive();
    void carryOver(const Shot& shot);
    void forgetModels();
    Drive effectiveDrive(std::uint32_t duration) const;

    bool wantsShotResults() const;
    bool wantsExecutionResult() const;
    std::uint32_t remaining() const;
    void sendShotResult(const ShotModel& model, const Shot& shot);
    void sendExecutionResult(const StopReason* reason);
    Alarm alarmOf(const StopReason& reason) const;
    Packet& newPacket(std::uint32_t duration, std::int32_t gap, unsigned resultType);
    void post(Packet& packet);
    bool flush();

    RunEnvironment m_env;
    const Job& m_job;
    const ExecutionRecord& m_record;
    const Trajectory& m_trajectory;
    const std::uint64_t m_seed;
    // As they were at the start.
    const std::vector<bool> m_manualStates;
    const double m_ramps; // [microseconds] up to the highest amplitude, and down again
    const unsigned m_currentThreshold;

    std::vector<std::size_t> m_activeChannels;
    Drive m_drive;
    std::vector<std::shared_ptr<const ShotModel>> m_models; // of the shots seen so far
    std::vector<bool> m_ownStates;
    unsigned m_channelVersion;

    std::uint32_t m_execution = 0;
    std::uint32_t m_executionsDone = 0;
    std::size_t m_shot = 0;
    std::uint64_t m_shotsDone = 0;
    std::uint64_t m_shooting = 0; // [microseconds] that the shot really takes, and its delay
    std::uint64_t m_delay = 0;
    Alarm m_alarm; // that stopped
    Packet m_packet;
    Bytes m_out;
    bool m_holding; // nothing goes out before the first packet
    bool m_first = true;
    bool m_motionStarted = false;
};

} // namespace simulator
} // namespace fus
