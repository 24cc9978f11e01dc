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
    unsigned currentThreshold = 255;      // of the current that a channel may put out
};

// What the boards measure during a shot, before noise; in ADC values.
struct ShotModel {
    std::vector<std::uint32_t> channels; // measure by measure, a value for each channel
    std::vector<double> loads;           // of each active amplifier: 0 at rest, 1 in full
};

// Highest ADC value of so many bytes.
std::uint32_t maxAdc(unsigned size);
std::uint32_t toAdc(const MeasureCurve& curve, double value, std::uint32_t highest);

class Physics {
public:
    Physics(const Description& description, std::uint64_t seed);

    std::shared_ptr<const ShotModel> model(const Drive& drive) const;

    // Append a shot's measures in wire order: those of channels with the noise of this seed, those
    // of boards as they are, measure by measure a value for each active amplifier.
    void appendMeasures(const ShotModel& model, std::uint64_t noiseSeed, Bytes& target) const;
    void appendBoardMeasures(const std::vector<std::uint32_t>& values, Bytes& target) const;

    const std::vector<const BoardDescription*>& amplifiers() const { return m_amplifiers; }

private:
    struct Channel {
        double gain;
        double phaseOffset; // [rad]
    };
    // What a channel puts out.
    struct Output {
        double voltage = 0;
        double reactance = 0; // [ohm] of its load
        double share = 0;     // of what it could put out
    };
    Output outputOf(const Drive& drive, std::size_t channel) const;
    double channelValue(const std::string& measure, const Output& output, std::uint8_t phase,
                        const Channel& channel) const;
    void addChannelMeasure(const ChannelMeasureDescription& measure, const Drive& drive,
                           const std::vector<Output>& outputs, ShotModel& result) const;
    void addLoads(const std::vector<Output>& outputs, ShotModel& result) const;

    // constant after construction
    const Description& m_description;
    double m_fullCurrent; // [ampere] that the highest threshold stands for
    std::vector<Channel> m_channels;
    std::vector<std::int8_t> m_noise; // -1, 0 or 1; each shot takes a piece from somewhere in it
    std::vector<const BoardDescription*> m_amplifiers; // the active ones
};

} // namespace simulator
} // namespace fus
