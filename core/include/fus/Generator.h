#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"

#include <memory>

namespace fus {

class ElectronicTrajectory;
class FloatArray;
class GeneratorConfig;
class NetPacket;
class TrajectoryBufferInfo;
class Upcalls;

/// The generator that is connected: its limits, its trajectory buffers, executions and boards.
///
/// There is one object, owned by `FUS` and reached through `FUS::getGenerator`. Unless said
/// otherwise every operation may be called from any thread, needs an open connection
/// (`ERR_NOT_CONNECTED` without one), and blocks until the generator has answered, for at most the
/// default answer time-out (`ERR_TIMEOUT` then). An error answer of the generator is a
/// `FUSException` with its hardware code.
///
/// Secure mode (`FUS::setSecureMode`, on at start) makes every operation validate its arguments
/// and the protocol generation before anything is sent.
///
/// Durations and delays are microseconds, frequencies hertz.
class FUS_API Generator {
public:
    Generator(const Generator&) = delete;
    Generator& operator=(const Generator&) = delete;
    ~Generator();

    // --- limits: answered from what the generator reported at connect, without a command ---------

    /// Shortest shooting duration of a shot [us]. `ERR_ARGUMENT` for a mode outside 0..3; so for
    /// all limits by mode.
    unsigned getMinShootingDuration(gprotocol::ElecExecMode mode) const;
    /// Longest shooting duration of a shot [us]; 0: the mode is not available.
    unsigned getMaxShootingDuration(gprotocol::ElecExecMode mode) const;
    /// Shortest duration + delay of a shot [us]; `flags` are `EXEC_FLAG_*` bits.
    unsigned getMinTotalShotDuration(gprotocol::ElecExecMode mode, unsigned flags) const;
    /// Longest duration + delay of a shot [us].
    unsigned getMaxTotalShotDuration(gprotocol::ElecExecMode mode) const;
    /// Longest delay between two executions of a trajectory [us].
    unsigned getMaxTrajectoryDelay(gprotocol::ElecExecMode mode) const;
    /// Greatest number of shots in a trajectory.
    unsigned getMaxTrajectorySize(gprotocol::ElecExecMode mode) const;

    unsigned getChannelCount() const;
    unsigned getBufferCount() const;
    /// Measures per channel in a shot result.
    unsigned getChannelMeasureCount() const;
    /// Measures per amplifier board in a shot result with `EXEC_FLAG_ADD_BOARD_MEASURES`.
    unsigned getAmplifierBoardMeasureCount() const;
    unsigned getAmplifierCurrentCount() const;
    unsigned getAmplifierTemperatureCount() const;
    unsigned getPowerSupplyCount() const;
    /// Longest ramp at the start and end of a shot [us]; 0: no ramps.
    unsigned getMaxRampDuration() const;
    /// Shortest delay of the shot in REPEAT mode without trigger [us].
    unsigned getMinRepeatShotDelay() const;
    /// Shortest delay between two executions of a trajectory [us].
    unsigned getMinTrajectoryDelay() const;
    bool hasMultiplexer() const;
    bool hasTriggerInput() const;
    /// Whether shots can be ramped: ramps are allowed and the synthesizers are recent enough.
    bool hasShotRamp() const;
    /// Whether a connection exists; needs none.
    bool isEnabled() const;

    // --- trajectories ----------------------------------------------------------------------------

    /// Checks a trajectory against the generator, cuts its shots where that is asked for, and
    /// uploads it into a buffer.
    ///
    /// @param buffer     index, below `getBufferCount()`; else `ERR_INDEX`
    /// @param trajectory its channel count must be the generator's
    /// @param execFlags  `EXEC_FLAG_*` bits; 0 before protocol 3.1
    /// @param canSlice   cut too long shots into shorter ones (`ERR_SLICE` where that can't be
    ///                   done) instead of refusing them; ignored in REPEAT and COMPOSITE modes
    /// @param canEdit    work on `trajectory` itself, which keeps what slicing and
    ///                   `PhaseShot::prepareData` made of it; false works on a copy. With true, a
    ///                   refused trajectory may already be changed in front of the failing shot.
    ///
    /// Every refusal is `ERR_ARGUMENT` with a message that names the shot and the limit, and comes
    /// before anything is sent. With secure mode off only the slicing stays.
    void sendTrajectory(unsigned buffer, ElectronicTrajectory& trajectory,
                        gprotocol::ElecExecMode elecMode, gprotocol::TriggerMode trigMode,
                        gprotocol::MechExecMode mechMode, unsigned execFlags, bool canSlice,
                        bool canEdit);

    /// Empties a buffer of the generator. The client's record goes on describing the old content.
    void clearBuffer(unsigned buffer) const;
    /// Empties every buffer.
    void clearBuffers() const;

    /// The record of the buffer that was started under this execution id, or null. It lives until
    /// the next connection.
    const TrajectoryBufferInfo* getTrajectoryInfo(unsigned executionID) const;

    /// Starts the trajectory in a buffer and queues an `ExecStartEvent`.
    ///
    /// @param execCount   repetitions, at least 1
    /// @param delay_us    delay between repetitions [us]
    /// @param sendResults whether shot and execution results are wanted
    /// @return the execution id that results carry, 0 without results
    ///
    /// A start whose acknowledgement timed out may still run on the generator: no stop is sent.
    /// Not to be called by what runs on the reader thread.
    unsigned executeTrajectory(unsigned buffer, unsigned execCount, unsigned delay_us,
                               bool sendResults);

    /// Stops the running trajectory. Waits for nothing: the outcome arrives as an execution result
    /// with the status `EXEC_STOP_BY_USER`.
    void stopTrajectory();

    // --- boards (protocol 3.0 and above: `ERR_PROTOCOL` below, in secure mode) -------------------

    /// Reads a `BPARAM_*` parameter. `ERR_ARGUMENT` for a board that is not active.
    unsigned long long readBoardParam(gprotocol::BoardType type, unsigned address,
                                      unsigned short param);
    void writeBoardParam(gprotocol::BoardType type, unsigned address, unsigned short param,
                         unsigned long long value);
    /// Reads all measures of a board, one value each, in the order of the board's measure list: raw
    /// ADC values with `adcOnly`, else in the unit of each measure.
    void readBoardMeasures(gprotocol::BoardType type, unsigned address, FloatArray& values,
                           bool adcOnly);
    /// Reads the lower or upper threshold of a board measure, a raw ADC value.
    unsigned readBoardThreshold(gprotocol::BoardType type, unsigned address, unsigned measure,
                                bool upper);
    void setBoardThreshold(gprotocol::BoardType type, unsigned address, unsigned measure,
                           bool upper, unsigned value);
    /// Reads the status of every board; true if all of them reported 0.
    bool refreshBoardsStatus();
    /// The status that the last refresh stored; needs no command.
    unsigned getBoardStatus(gprotocol::BoardType type, unsigned address) const;

private:
    friend class FUS;
    class Private;

    explicit Generator(Upcalls& upcalls);

    void onConnect(const GeneratorConfig& config);
    void handleAsyncAnswer(unsigned id, unsigned short type, NetPacket& packet);
    bool hasMechanics() const;
    void setSecureMode(bool on);
    bool isInSecureMode() const;

    std::unique_ptr<Private> m_private;
};

} // namespace fus
