#include "Physics.h"

#include "Noise.h"

#include "fus/GProtocol.h"

#include <algorithm>
#include <cmath>

namespace fus {
namespace simulator {

namespace {

constexpr double TWO_PI = 6.283185307179586;
constexpr double REFERENCE_OHM = 50; // of forward and reverse power

std::uint32_t maxAdc(unsigned size) {
    return size >= 4 ? 0xFFFFFFFFU : (1U << (size * 8)) - 1U;
}

std::uint32_t toAdc(const MeasureCurve& curve, double value, unsigned size) {
    const double highest = maxAdc(size);
    return static_cast<std::uint32_t>(std::min(curve.inverse(value, highest) + 0.5, highest));
}

// An angle as the measure's range shows it: moved by whole turns until it lies in it.
double fitAngle(double angle, const MeasureCurve& curve, unsigned size) {
    const double lowest = std::min(curve.at(0), curve.at(maxAdc(size)));
    return angle - TWO_PI * std::floor((angle - lowest) / TWO_PI);
}

// Blocks of one width, with noise of the last digit (of 8 bits' worth in wider ones). A silent
// measure stays at exactly 0.
template <unsigned WIDTH>
void appendNoisy(const std::uint32_t* values, std::size_t count, Noise& noise, Bytes& target) {
    constexpr std::int64_t HIGHEST = (std::int64_t{1} << (WIDTH * 8)) - 1;
    constexpr std::int64_t STEP = std::int64_t{1} << (WIDTH * 8 - 8);
    std::size_t position = target.size();
    target.resize(position + count * WIDTH);
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < count; ++i) {
        bits = i % 32 == 0 ? noise.next() : bits >> 2;
        // two bits: down, up, or twice nothing
        const std::int64_t change =
            static_cast<std::int64_t>((bits >> 1) & 1) - static_cast<std::int64_t>(bits & 1);
        const std::int64_t value = static_cast<std::int64_t>(values[i]);
        const std::int64_t noisy =
            value == 0 ? 0 : std::clamp(value + change * STEP, std::int64_t{0}, HIGHEST);
        for (unsigned byte = WIDTH; byte-- > 0;) {
            target[position++] = static_cast<std::uint8_t>((noisy >> (byte * 8)) & 0xFF);
        }
    }
}

void appendBlock(unsigned width, const std::uint32_t* values, std::size_t count, Noise& noise,
                 Bytes& target) {
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

Physics::Physics(const Description& description, std::uint64_t seed) : m_description(description) {
    Noise noise(seed);
    const double spread = description.load.spreadPercent / 100;
    for (std::size_t i = 0; i < description.channelCount; ++i) {
        const double gain = 1 + spread * noise.unit();
        m_channels.push_back({gain, 0.1 * noise.unit()});
    }
    for (const BoardDescription& board : description.boards) {
        if (board.hwid == gprotocol::HWID_AMPLIFIER && board.active) {
            m_amplifiers.push_back(&board);
        }
    }
}

double Physics::channelValue(const std::string& measure, const Channel& channel,
                             std::uint32_t frequency, std::uint8_t phase,
                             std::uint8_t amplitude) const {
    const LoadDescription& load = m_description.load;
    const double voltage = amplitude / 255.0 * load.maxVoltage * channel.gain;
    const double detuning = frequency / load.resonanceHz -
                            load.resonanceHz / std::max(1.0, static_cast<double>(frequency));
    const double reactance = load.ohm * load.quality * detuning;
    const double forward = voltage * voltage / REFERENCE_OHM;
    if (measure == "vrf") {
        return voltage;
    }
    if (measure == "irf") {
        return voltage / std::hypot(load.ohm, reactance);
    }
    if (measure == "pvi") {
        return std::atan2(reactance, load.ohm);
    }
    if (measure == "pvr") {
        return phase / 256.0 * TWO_PI + channel.phaseOffset;
    }
    if (measure == "Pfd") {
        return forward;
    }
    if (measure == "Pre") { // what the mismatch sends back
        const double difference = std::hypot(load.ohm - REFERENCE_OHM, reactance);
        const double sum = std::hypot(load.ohm + REFERENCE_OHM, reactance);
        return forward * (difference / sum) * (difference / sum);
    }
    return 0;
}

void Physics::addChannelMeasure(const ChannelMeasureDescription& measure, const Drive& drive,
                                ShotModel& result) const {
    const bool isAngle = measure.name == "pvi" || measure.name == "pvr";
    for (std::size_t i = 0; i < m_channels.size(); ++i) {
        if (drive.amplitudes[i] == 0) {
            result.channels.push_back(0);
            continue;
        }
        double value = channelValue(measure.name, m_channels[i], drive.frequencies[i],
                                    drive.phases[i], drive.amplitudes[i]);
        if (isAngle) {
            value = fitAngle(value, measure.curve, measure.size);
        }
        result.channels.push_back(toAdc(measure.curve, value, measure.size));
    }
}

void Physics::addBoardMeasures(const Drive& drive, ShotModel& result) const {
    for (const BoardDescription* board : m_amplifiers) {
        double sum = 0;
        for (std::size_t i = 0; i < board->channelCount; ++i) {
            sum += drive.amplitudes[board->firstChannel + i] / 255.0;
        }
        result.loads.push_back(
            board->channelCount == 0 ? 0 : sum / static_cast<double>(board->channelCount));
    }
    // All amplifiers are described alike: by the first one.
    const std::size_t measures = m_amplifiers.empty() ? 0 : m_amplifiers[0]->measures.size();
    for (std::size_t m = 0; m < measures; ++m) {
        for (std::size_t b = 0; b < m_amplifiers.size(); ++b) {
            result.boards.push_back(boardValue(m_amplifiers[0]->measures[m], result.loads[b]));
        }
    }
}

std::shared_ptr<const ShotModel> Physics::model(const Drive& drive) const {
    auto result = std::make_shared<ShotModel>();
    result->channels.reserve(m_channels.size() * m_description.channelMeasures.size());
    for (const ChannelMeasureDescription& measure : m_description.channelMeasures) {
        addChannelMeasure(measure, drive, *result);
    }
    addBoardMeasures(drive, *result);
    return result;
}

void Physics::appendMeasures(const ShotModel& model, bool withBoards, std::uint64_t noiseSeed,
                             Bytes& target) const {
    Noise noise(noiseSeed);
    const std::uint32_t* values = model.channels.data();
    for (const ChannelMeasureDescription& measure : m_description.channelMeasures) {
        appendBlock(measure.size, values, m_channels.size(), noise, target);
        values += m_channels.size();
    }
    if (!withBoards || m_amplifiers.empty()) {
        return;
    }
    values = model.boards.data();
    for (const BoardMeasureDescription& measure : m_amplifiers[0]->measures) {
        appendBlock(measure.size, values, m_amplifiers.size(), noise, target);
        values += m_amplifiers.size();
    }
}

std::uint32_t Physics::boardValue(const BoardMeasureDescription& measure, double load) const {
    const double value = measure.idle + (measure.full - measure.idle) * load;
    return toAdc(measure.curve(), value, measure.size);
}

} // namespace simulator
} // namespace fus
