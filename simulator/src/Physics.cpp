#include "Physics.h"

#include "Noise.h"

#include "fus/GProtocol.h"

#include <algorithm>
#include <cmath>

namespace fus {
namespace simulator {

namespace {

constexpr std::size_t NOISE_PERIOD = 8192;
constexpr double TWO_PI = 6.283185307179586;
constexpr double REFERENCE_OHM = 50; // of forward and reverse power

// An angle as the measure's range shows it: moved by whole turns until it lies in it.
double fitAngle(double angle, const MeasureCurve& curve, unsigned size) {
    const double lowest = std::min(curve.at(0), curve.at(maxAdc(size)));
    return angle - TWO_PI * std::floor((angle - lowest) / TWO_PI);
}

// One step of the noise, in ADC values: the last digit of 8 bits' worth.
std::uint32_t noiseStep(unsigned size) {
    return 1U << (size * 8 - 8);
}

// Blocks of one width, with noise. A silent measure stays at exactly 0. This is where a flood of
// results spends its time, so the loop is one that compilers can vectorise.
template <unsigned WIDTH>
void appendNoisy(const std::uint32_t* values, std::size_t count, const std::int8_t* noise,
                 Bytes& target) {
    std::size_t position = target.size();
    target.resize(position + count * WIDTH);
    std::uint8_t* out = target.data() + position;
    constexpr int STEP_SHIFT = WIDTH * 8 - 8;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t change = static_cast<std::uint32_t>(noise[i]) << STEP_SHIFT;
        const std::uint32_t value = values[i] == 0 ? 0 : values[i] + change;
        for (unsigned byte = 0; byte < WIDTH; ++byte) {
            out[i * WIDTH + byte] = static_cast<std::uint8_t>(value >> ((WIDTH - 1 - byte) * 8));
        }
    }
}

void appendBlock(unsigned width, const std::uint32_t* values, std::size_t count,
                 const std::int8_t* noise, Bytes& target) {
    switch (width) {
    case 1:
        appendNoisy<1>(values, count, noise, target);
        break;
    case 2:
        appendNoisy<2>(values, count, noise, target);
        break;
    default:
        appendNoisy<4>(values, count, noise, target);
        break;
    }
}

} // namespace

std::uint32_t maxAdc(unsigned size) {
    return size >= 4 ? 0xFFFFFFFFU : (1U << (size * 8)) - 1U;
}

std::uint32_t toAdc(const MeasureCurve& curve, double value, std::uint32_t highest) {
    const double most = highest;
    return static_cast<std::uint32_t>(std::min(curve.inverse(value, most) + 0.5, most));
}

Physics::Physics(const Description& description, std::uint64_t seed)
    : m_description(description),
      m_fullCurrent(description.load.maxVoltage / description.load.ohm) {
    Noise noise(seed);
    const double spread = description.load.spreadPercent / 100;
    for (std::size_t i = 0; i < description.channelCount; ++i) {
        const double gain = 1 + spread * noise.unit();
        m_channels.push_back({gain, 0.1 * noise.unit()});
    }
    for (std::size_t i = 0; i < NOISE_PERIOD + description.channelCount; ++i) {
        const std::uint64_t bits = noise.next();
        m_noise.push_back(static_cast<std::int8_t>((bits >> 1 & 1) - (bits & 1)));
    }
    for (const BoardDescription& board : description.boards) {
        if (board.hwid == gprotocol::HWID_AMPLIFIER && board.active) {
            m_amplifiers.push_back(&board);
        }
    }
    for (const ChannelMeasureDescription& measure : description.channelMeasures) {
        if (measure.name == "irf") {
            m_fullCurrent = measure.curve.at(maxAdc(measure.size));
        }
    }
}

Physics::Output Physics::outputOf(const Drive& drive, std::size_t channel) const {
    const LoadDescription& load = m_description.load;
    const double frequency = std::max(1.0, static_cast<double>(drive.frequencies[channel]));
    Output output;
    output.share = drive.amplitudes[channel] / 255.0;
    output.voltage = output.share * load.maxVoltage * m_channels[channel].gain;
    output.reactance =
        load.ohm * load.quality * (frequency / load.resonanceHz - load.resonanceHz / frequency);
    const double current = output.voltage / std::hypot(load.ohm, output.reactance);
    const double highest = m_fullCurrent * drive.currentThreshold / 255;
    if (drive.currentThreshold < 255 && current > highest) {
        output.share *= highest / current;
        output.voltage *= highest / current;
    }
    return output;
}

double Physics::channelValue(const std::string& measure, const Output& output, std::uint8_t phase,
                             const Channel& channel) const {
    const double ohm = m_description.load.ohm;
    const double forward = output.voltage * output.voltage / REFERENCE_OHM;
    if (measure == "vrf") {
        return output.voltage;
    }
    if (measure == "irf") {
        return output.voltage / std::hypot(ohm, output.reactance);
    }
    if (measure == "pvi") {
        return std::atan2(output.reactance, ohm);
    }
    if (measure == "pvr") {
        return phase / 256.0 * TWO_PI + channel.phaseOffset;
    }
    if (measure == "Pfd") {
        return forward;
    }
    if (measure == "Pre") { // what the mismatch sends back
        const double difference = std::hypot(ohm - REFERENCE_OHM, output.reactance);
        const double sum = std::hypot(ohm + REFERENCE_OHM, output.reactance);
        return forward * (difference / sum) * (difference / sum);
    }
    return 0;
}

void Physics::addChannelMeasure(const ChannelMeasureDescription& measure, const Drive& drive,
                                const std::vector<Output>& outputs, ShotModel& result) const {
    const bool isAngle = measure.name == "pvi" || measure.name == "pvr";
    const std::uint32_t highest = maxAdc(measure.size);
    for (std::size_t i = 0; i < m_channels.size(); ++i) {
        if (drive.amplitudes[i] == 0) {
            result.channels.push_back(0);
            continue;
        }
        double value = channelValue(measure.name, outputs[i], drive.phases[i], m_channels[i]);
        if (isAngle) {
            value = fitAngle(value, measure.curve, measure.size);
        }
        // with room for the noise on both sides
        const std::uint32_t step = noiseStep(measure.size);
        result.channels.push_back(
            std::clamp(toAdc(measure.curve, value, highest), step, highest - step));
    }
}

void Physics::addLoads(const std::vector<Output>& outputs, ShotModel& result) const {
    for (const BoardDescription* board : m_amplifiers) {
        double sum = 0;
        for (std::size_t i = 0; i < board->channelCount; ++i) {
            sum += outputs[board->firstChannel + i].share;
        }
        result.loads.push_back(
            board->channelCount == 0 ? 0 : sum / static_cast<double>(board->channelCount));
    }
}

std::shared_ptr<const ShotModel> Physics::model(const Drive& drive) const {
    auto result = std::make_shared<ShotModel>();
    result->channels.reserve(m_channels.size() * m_description.channelMeasures.size());
    std::vector<Output> outputs;
    for (std::size_t i = 0; i < m_channels.size(); ++i) {
        outputs.push_back(outputOf(drive, i));
    }
    for (const ChannelMeasureDescription& measure : m_description.channelMeasures) {
        addChannelMeasure(measure, drive, outputs, *result);
    }
    addLoads(outputs, *result);
    return result;
}

void Physics::appendMeasures(const ShotModel& model, std::uint64_t noiseSeed, Bytes& target) const {
    Noise random(noiseSeed);
    const auto nextNoise = [&] { return m_noise.data() + random.next() % NOISE_PERIOD; };
    const std::uint32_t* values = model.channels.data();
    for (const ChannelMeasureDescription& measure : m_description.channelMeasures) {
        appendBlock(measure.size, values, m_channels.size(), nextNoise(), target);
        values += m_channels.size();
    }
}

void Physics::appendBoardMeasures(const std::vector<std::uint32_t>& readings, Bytes& target) const {
    if (m_amplifiers.empty()) {
        return;
    }
    // what the boards measure is steady, as they read it themselves
    const std::vector<std::int8_t> silence(m_amplifiers.size());
    const std::uint32_t* values = readings.data();
    for (const BoardMeasureDescription& measure : m_amplifiers[0]->measures) {
        appendBlock(measure.size, values, m_amplifiers.size(), silence.data(), target);
        values += m_amplifiers.size();
    }
}

} // namespace simulator
} // namespace fus
