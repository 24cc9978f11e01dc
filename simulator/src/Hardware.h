// The state of the simulated boards. Any thread.
#pragma once

#include "Bytes.h"
#include "FaultBook.h"
#include "Parameters.h"
#include "Physics.h"
#include "Sensors.h"
#include "StopReasons.h"

#include "fussim/Description.h"
#include "fussim/Records.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace fus {
namespace simulator {

// What a mode allows. [microseconds]
struct Limits {
    std::uint32_t minShootingFirst = 0; // of the first shot
    std::uint32_t minShooting = 0;      // of the others
    std::uint32_t maxShooting = 0;
    std::uint32_t minTotal = 0;
    std::uint32_t maxTotal = 0;
    std::uint32_t minDelay = 0; // without trigger for each shot
    std::size_t maxShots = 0;
};

class Hardware {
public:
    Hardware(const Description& description, const Physics& physics, const FaultBook& faults,
             double timeScale);

    const Description& description() const { return m_description; }

    // What boards of another one hold: parameters, thresholds, status. It has the same boards.
    void takeBoards(const Hardware& other);

    // --- buffers ---
    // Null: nothing in it.
    std::shared_ptr<const Trajectory> trajectory(std::size_t buffer) const;
    void store(std::size_t buffer, std::shared_ptr<const Trajectory> trajectory);

    // --- boards; a Refusal says why not ---
    const BoardDescription& board(unsigned hwid, unsigned address) const;
    std::uint64_t readParameter(unsigned hwid, unsigned address, unsigned id) const;
    void writeParameter(unsigned hwid, unsigned address, unsigned id, std::uint64_t value);
    // All board measures as they are now, little-endian.
    Bytes readMeasures(const BoardDescription& board);
    // (hardware id, address, status) of all active boards.
    std::vector<std::array<std::uint32_t, 3>> systemState() const;
    // As they were at the start, and with them what they work by: clock and channels.
    void rebootSlaves();
    // True once after the slave boards came up again.
    bool takeSlaveReset();
    // The main switch, and those of the amplifiers that have one.
    void switchAmplifiers(bool isOn);

    // --- without rules, for the simulator itself ---
    std::uint64_t upb(unsigned id) const { return value(10, 0, id); }
    // Throws std::out_of_range.
    std::uint64_t value(unsigned hwid, unsigned address, unsigned id) const;
    void setValue(unsigned hwid, unsigned address, unsigned id, std::uint64_t value);
    void setStatus(unsigned hwid, unsigned address, std::uint32_t status);
    BoardRecord record(unsigned hwid, unsigned address);
    // As if by itself. An execution that runs stops.
    void disableAmplifier(unsigned address);
    // Lets simulated time pass without a shot.
    void rest(double microseconds);

    // --- lists of generator parameters of protocol 2, as they are read ---
    std::vector<std::uint32_t> readings(Quantity quantity, bool areThresholds);
    // False if there aren't so many.
    bool setThresholds(Quantity quantity, const std::vector<std::uint32_t>& values);

    // --- channels ---
    // What is read back: switched on by hand and not shut off.
    std::vector<bool> channelStates() const;
    std::vector<bool> manualChannelStates() const;
    // Not shut off by the generator itself, nor on a board that is out of action.
    std::vector<bool> ownChannelStates() const;
    void setManualChannelStates(const std::vector<bool>& states);
    void shutOffChannel(std::size_t channel);
    // What was shut off or out of action works again.
    void restore();

    // --- shooting ---
    bool checksAreOn() const;
    std::uint32_t maxAmplitude() const;
    Limits limits(unsigned elecMode, unsigned flags, std::size_t shots) const;
    std::uint32_t maxTrajectoryDelay(unsigned elecMode) const;
    // Why nothing can be shot; null if it can.
    const char* obstacle() const;
    // From begin to end only passTime lets time pass, and a rest between them.
    void beginShooting();
    void endShooting();
    // What gives the alarm, if anything: a measure that passes its threshold, a supply that is off.
    std::optional<Alarm> beginShot(const ShotModel& model);
    std::optional<Alarm> passTime(double microseconds);
    void endShot();
    void holdClock(bool isHeld);
    // What the amplifiers measure of themselves, in a shot result's order.
    std::vector<std::uint32_t> amplifierReadings();
    // They change with the parameters, and with the channels that are shut off.
    unsigned parameterVersion() const { return m_parameterVersion; }
    unsigned channelVersion() const { return m_channelVersion; }

private:
    using BoardKey = std::pair<unsigned, unsigned>;
    struct BoardState {
        std::map<unsigned, std::uint64_t> parameters; // thresholds among them
        std::uint32_t status = 0;
        bool isSwitchedOff = false;
        bool isDisabled = false;
    };
    struct Bounds {
        std::uint32_t lower = 0;
        std::uint32_t upper = 0;
    };
    struct Reading {
        std::uint32_t raw = 0;
        bool isBad = false;
    };

    // --- with the lock held ---
    void fillBoard(const BoardDescription& board);
    BoardState& state(unsigned hwid, unsigned address);
    const BoardState& state(unsigned hwid, unsigned address) const;
    bool isOn(unsigned peripheral) const;
    bool isPowered(unsigned hwid, unsigned address) const;
    std::uint32_t status(unsigned hwid, unsigned address) const;
    void change(unsigned hwid, unsigned address, unsigned id, std::uint64_t value);
    void resetSlaves();
    std::uint64_t valueAtStart(unsigned hwid, unsigned id) const;
    void restoreAll();
    void refresh();
    std::optional<Alarm> alarm();
    std::optional<Alarm> obstacleAlarm() const;
    Alarm passedThreshold(const Sensor& sensor, bool isUpper, std::uint32_t raw);
    Reading reading(const Sensor& sensor) const;
    bool isAllowed(const ParameterRow& row, std::uint64_t value) const;
    bool crossesThreshold(const BoardState& board, unsigned id, std::uint64_t value) const;

    Limits compositeLimits() const;

    // constant after construction
    const Description& m_description;
    const Physics& m_physics;
    const FaultBook& m_faults;

    std::atomic<unsigned> m_parameterVersion{0};
    std::atomic<unsigned> m_channelVersion{0};

    mutable std::mutex m_mutex;
    // guarded by m_mutex
    std::vector<std::shared_ptr<const Trajectory>> m_buffers;
    std::map<BoardKey, BoardState> m_boards;
    std::vector<bool> m_manualStates;
    std::vector<bool> m_shutOff;
    Sensors m_sensors;
    std::vector<Bounds> m_bounds; // of each sensor
    bool m_slavesWereReset = false;
    unsigned m_refreshedVersion = ~0U;
    std::optional<Alarm> m_obstacle; // to any shot
    std::optional<Alarm> m_pendingAlarm;
};

std::uint32_t hardwareWord(const std::array<unsigned, 4>& version);

} // namespace simulator
} // namespace fus
