#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"

#include <memory>

namespace fus {

class ElectronicTrajectory;
class FloatArray;
class GeneratorConfig;
class GeneratorDefinition;
class Mask1D;
class NetPacket;
class ShotResult;
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

    // --- definition: what the generator of this installation should be; needs no connection ------

    /// Loads the definition that the installer wrote, an INI text. It takes the place of the one
    /// before, also when it fails: then there is none.
    ///
    /// Before a connect it has its full effect: the connect takes host and port from it if none are
    /// given, and writes its clock and its thresholds. While connected only the polynomials for
    /// shot results are used; results that arrive meanwhile are converted by the old or by the new
    /// ones.
    ///
    /// @return false, after log lines that say why, for what can't be read or isn't valid. An empty
    ///         or null argument acts as `clearDefinition`. Never throws.
    bool loadDefinition(const char* filename);
    /// The same with the text itself.
    bool loadDefinitionString(const char* definition);
    /// Forgets the definition, and ends the conversion of shot results.
    void clearDefinition();
    bool isDefinitionLoaded() const;
    /// Whether shot results get physical values and powers: the amplifiers are those that the
    /// definition is for, as compared at the last connect, or load while connected.
    bool isShotResultConversionEnabled() const;
    /// Greatest power that a channel may emit, as the definition says [W]; 0 without one.
    float getMaxPower() const;

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

    /// Reads a parameter (`gprotocol::BoardParam`). `ERR_ARGUMENT` for a board that is not active.
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
    /// The status that the last refresh stored, `gprotocol::BoardStatus` bits; needs no command.
    unsigned getBoardStatus(gprotocol::BoardType type, unsigned address) const;

    // --- settings and safety ---------------------------------------------------------------------
    //
    // What a generator before protocol 3.0 and one since then both have goes to either by its own
    // way. Arguments are checked before anything is sent. A set that failed with `ERR_TIMEOUT` may
    // have been done. No lock is taken: everything but `checkWatchdog` may be called while an
    // execution runs. "Secure" errors come in secure mode only.
    //
    // Readings of the older protocols: a value that the generator marks as bad reads -1000. An
    // answer about another parameter, or one shorter than it says, is `ERR_PACKET`.

    /// Sets the time within which `sendHeartBeat` must be called again during an execution, or the
    /// generator stops it with `EXEC_STOP_HEARTBEAT` [us]. 0 turns the protection off; otherwise at
    /// least 50000 (secure: `ERR_ARGUMENT`). Since protocol 3.0 (secure: `ERR_PROTOCOL`), as are
    /// the other two.
    void setHeartBeatTimeout(unsigned timeout_us);
    unsigned readHeartBeatTimeout();
    /// Waits for nothing.
    void sendHeartBeat();

    /// Reads one temperature per amplifier [degrees Celsius], or with `isMax` the thresholds at
    /// which the generator stops an execution with `EXEC_STOP_AMPLIFIER_TEMP`.
    ///
    /// `ERR_NOT_AVAILABLE` where amplifiers don't measure it. `values` gets the size that the
    /// generator has values for.
    void readAmplifierTemperatures(FloatArray& values, bool isMax);
    /// Sets the thresholds: `getAmplifierTemperatureCount()` values of 0 to 256 degrees Celsius
    /// (secure: `ERR_ARGUMENT`, which names the first value that is out of range; a NaN isn't).
    /// They are sent as integers: cut toward zero, and 0 for what 32 bits can't hold, which
    /// includes NaN and infinity. `ERR_NOT_AVAILABLE` where amplifiers don't measure it (3.0 on).
    ///
    /// Since 3.0 a value goes by the polynomial of the measure: one that lies below the zero of the
    /// sensor becomes a negative raw value, which the board takes for a huge one, and so for no
    /// limit. Mind the range of the measure (`Measure::physicalFromADC` of 0).
    void setMaxAmplifierTemperatures(const FloatArray& values);

    /// The same for the input currents of the amplifiers [A]; at a threshold the generator stops
    /// the execution with `EXEC_STOP_AMPLIFIER_CURRENT`, and disables the board.
    void readAmplifierCurrents(FloatArray& values, bool isMax);
    /// `getAmplifierCurrentCount()` values of 0 to 256 A; else as the temperatures.
    void setMaxAmplifierCurrents(const FloatArray& values);

    /// Before protocol 3.0 only (secure: `ERR_PROTOCOL`), as is the other one.
    void readMultiplexerValue(unsigned& value);
    /// `ERR_ARGUMENT` above 255, in any mode.
    void setMultiplexerValue(unsigned value);

    /// Reads the voltages of the power supplies [V].
    void readPowerSupplies(FloatArray& values);

    /// The greatest amplitude that trajectory data may hold.
    void readAmplitudeThreshold(unsigned char& value);
    /// `ERR_ARGUMENT` above 255, in any mode.
    void setAmplitudeThreshold(unsigned value);
    /// The limit of the output current, and so of the emitted power, 0..255.
    void readOutCurrentThreshold(unsigned char& value);
    /// `ERR_ARGUMENT` above 255, in any mode.
    void setOutCurrentThreshold(unsigned value);

    /// Reads which channels can emit: those that were not masked by `setChannelsState`, without the
    /// ones that the generator shut off by itself. `ERR_PACKET` for another count than
    /// `getChannelCount()` (secure), and for more than 4096 channels in any mode.
    void readChannelsState(Mask1D& mask);
    /// A channel that is false emits nothing in later executions. The only way to mask channels
    /// since protocol 3.0. `ERR_ARGUMENT` for another size than `getChannelCount()` (secure).
    void setChannelsState(const Mask1D& mask);

    /// Whether a peripheral is on. `peripheral` is a `gprotocol::Peripheral`, or 1 or 3 for two
    /// without a name; 4 and above are `ERR_ARGUMENT` (before protocol 3.0 in secure mode only).
    bool readPeripheralState(unsigned peripheral);
    void setPeripheralState(unsigned peripheral, bool state);

    /// The time [us] in which every shot rises to, or falls from, the greatest amplitude (255).
    /// `start` tells the beginning from the end of a shot.
    unsigned readShotRampDuration(bool start);
    /// At most `getMaxRampDuration()` (secure: `ERR_ARGUMENT`).
    void setShotRampDuration(bool start, unsigned duration);

    // The clock and the tolerances exist since protocol 3.0 (`ERR_PROTOCOL` before, secure).

    unsigned readClockFrequency();
    /// 24000000 or 25000000 Hz (secure: `ERR_ARGUMENT`).
    void setClockFrequency(unsigned hz);

    /// By how much the times of a shot may miss what was asked for [us]; an execution that exceeds
    /// it is stopped with an error.
    unsigned readShootingDurationTolerance();
    void setShootingDurationTolerance(unsigned tolerance_us);
    unsigned readTotalShotDurationTolerance();
    void setTotalShotDurationTolerance(unsigned tolerance_us);

    /// Diagnosis: acts as a pulse at the trigger input. False if there was no answer or an error,
    /// as when no execution runs, none waits for a trigger, or the pulse fell in a triggered shot.
    /// Since protocol 3.0 (secure: `ERR_PROTOCOL`).
    bool simulateTriggerInPulse();
    /// Diagnosis: has the generator do nothing for this time, not even stop; at most 60000000 us
    /// (secure: `ERR_ARGUMENT`). `ERR_TIMEOUT` if that is longer than the default answer time-out.
    /// Since protocol 3.0 (secure: `ERR_PROTOCOL`).
    void wait(unsigned delay_us);

    /// Tries to run a shot that is too long, all checks of the library and of the generator turned
    /// off, and tells whether the generator's watchdog cut it. It emits nothing: the amplitude is
    /// 0. Uses buffer 0, and blocks for as long as the shot takes and half a second.
    ///
    /// Afterwards the checks of the generator and secure mode are on, also after an error of the
    /// upload or of the execution, which make it false. An error in front of these, or when the
    /// checks are turned on again, is thrown. Any exception but a `FUSException` (no memory) leaves
    /// the checks and secure mode off. Secure mode is off meanwhile for every thread: no other
    /// shooting command may run. Since protocol 3.0 (secure: `ERR_PROTOCOL`). Not to be called by a
    /// listener, as the events that it looks for would wait behind it.
    bool checkWatchdog();

    /// Switches the main power supply and the switches of every amplifier that the back panel
    /// didn't disable. Since protocol 3.0 (secure: `ERR_PROTOCOL`).
    void enableAmplifierPowerSupplies(bool state);

private:
    friend class FUS;
    class Private;

    explicit Generator(Upcalls& upcalls);

    void onConnect(const GeneratorConfig& config);
    void onDisconnect();
    void handleAsyncAnswer(unsigned id, unsigned short type, NetPacket& packet);
    /// The definition as it is now: constant, and no longer than it is held.
    std::shared_ptr<const GeneratorDefinition> getDefinition() const;
    /// Has every shot result converted as it is built.
    static void installConversion();
    static void removeConversion();
    /// Fills in physical values and powers, and the type of amplifier that they are by. False if it
    /// can't, or not all of them. Throws nothing.
    bool computeResultPowers(ShotResult* result);
    bool hasMechanics() const;
    void setSecureMode(bool on);
    bool isInSecureMode() const;
    bool runTooLongShot(ElectronicTrajectory& trajectory, unsigned duration);

    std::unique_ptr<Private> m_private;
};

} // namespace fus
