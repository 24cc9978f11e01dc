// From what a shot asks of the channels to what the boards measure.
#pragma once

#include "Bytes.h"

#include "fussim/Description.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace fus {
namespace simulator {

// What drives each channel during a shot, all lists carried over and spread out.
struct Drive {
    std::vector<std::uint32_t> frequencies;
    std::vector<std::uint8_t> phases;
    std::vector<std::uint8_t> amplitudes; // 0 for a channel that is off
};

// What the boards measure during a shot, before noise; in ADC values.
struct ShotModel {
    std::vector<std::uint32_t> channels; // measure by measure, a value for each channel
    std::vector<std::uint32_t> boards;   // measure by measure, a value for each active amplifier
    std::vector<double> loads;           // of each active amplifier: 0 at rest, 1 in full
};

class Physics {
public:
    Physics(const Description& description, std::uint64_t seed);

    std::shared_ptr<const ShotModel> model(const Drive& drive) const;

    // Appends a shot's measures in wire order, those of channels with the noise of this seed.
    void appendMeasures(const ShotModel& model, bool withBoards, std::uint64_t noiseSeed,
                        Bytes& target) const;

    // A board measure at this load.
    std::uint32_t boardValue(const BoardMeasureDescription& measure, double load) const;

    const std::vector<const BoardDescription*>& amplifiers() const { return m_amplifiers; }

private:
    struct Channel {
        double gain;
        double phaseOffset; // [rad]
    };
    double channelValue(const std::string& measure, const Channel& channel, std::uint32_t frequency,
                        std::uint8_t phase, std::uint8_t amplitude) const;
    void addChannelMeasure(const ChannelMeasureDescription& measure, const Drive& drive,
                           ShotModel& result) const;
    void addBoardMeasures(const Drive& drive, ShotModel& result) const;

    // constant after construction
    const Description& m_description;
    std::vector<Channel> m_channels;
    std::vector<std::int8_t> m_noise; // -1, 0 or 1; each shot takes a piece from somewhere in it
    std::vector<const BoardDescription*> m_amplifiers; // the active ones
};

} // namespace simulator
} // namespace fus
