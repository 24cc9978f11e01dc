// The state of the simulated boards. Any thread.
#pragma once

#include "Bytes.h"
#include "Physics.h"

#include "fussim/Description.h"
#include "fussim/Records.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace fus {
namespace simulator {

struct StopReason;

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
    Hardware(const Description& description, const Physics& physics);

    const Description& description() const { return m_description; }

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

    // --- without rules, for the simulator itself ---
    std::uint64_t upb(unsigned id) const { return value(10, 0, id); }
    // Throws std::out_of_range.
    std::uint64_t value(unsigned hwid, unsigned address, unsigned id) const;
    void setValue(unsigned hwid, unsigned address, unsigned id, std::uint64_t value);
    void setStatus(unsigned hwid, unsigned address, std::uint32_t status);

    // --- generator parameters of protocol 2 ---
    std::uint8_t generatorParameter(unsigned id) const; // Refusal
    void setGeneratorParameter(unsigned id, std::uint8_t value);

    std::vector<bool> channelStates() const;
    void setChannelStates(const std::vector<bool>& states);

    // --- shooting ---
    bool checksAreOn() const;
    std::uint32_t maxAmplitude() const;
    Limits limits(unsigned elecMode, unsigned flags, std::size_t shots) const;
    std::uint32_t maxTrajectoryDelay(unsigned elecMode) const;
    // The boards work under this shot from now on; null when it ends.
    void setLoad(std::shared_ptr<const ShotModel> model);
    // The reason to stop if this shot drives an amplifier above one of its thresholds, and the
    // amplifier's address. The outcome can change only when parameterVersion() does.
    const StopReason* overload(const ShotModel& model, unsigned& address) const;
    unsigned parameterVersion() const { return m_parameterVersion; }

private:
    using BoardKey = std::pair<unsigned, unsigned>;
    struct BoardState {
        std::map<unsigned, std::uint64_t> parameters; // thresholds among them
        std::uint32_t status = 0;
    };
    void fillBoard(const BoardDescription& board);
    BoardState& state(unsigned hwid, unsigned address);
    const BoardState& state(unsigned hwid, unsigned address) const;
    double loadOf(const BoardDescription& board) const;
    Limits compositeLimits() const;

    // constant after construction
    const Description& m_description;
    const Physics& m_physics;

    std::atomic<unsigned> m_parameterVersion{0};

    mutable std::mutex m_mutex;
    // guarded by m_mutex
    std::vector<std::shared_ptr<const Trajectory>> m_buffers;
    std::map<BoardKey, BoardState> m_boards;
    std::map<unsigned, std::uint8_t> m_generatorParameters;
    std::vector<bool> m_channelStates;
    std::shared_ptr<const ShotModel> m_load;
};

std::uint32_t hardwareWord(const std::array<unsigned, 4>& version);

} // namespace simulator
} // namespace fus
