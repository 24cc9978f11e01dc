#include "Sensors.h"

#include "fus/GProtocol.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr double COOLING_WITHOUT_FANS = 0.4;

// Encodings of protocol 2.
constexpr std::uint32_t V2_HIGHEST_TEMPERATURE = 0xFFF; // [1/8 degree Celsius]
constexpr std::uint32_t V2_BAD_TEMPERATURE = 0xF000;
constexpr std::uint32_t V2_HIGHEST_CURRENT = 0xFFFFFF; // [milliampere]
constexpr std::uint32_t V2_BAD_CURRENT = 0xFF000000;

Quantity quantityOf(const std::string& measure) {
    return measure == "tem"   ? Quantity::TEMPERATURE
           : measure == "idc" ? Quantity::CURRENT
           : measure == "vdc" ? Quantity::VOLTAGE
                              : Quantity::OTHER;
}

double meanOf(const std::vector<double>& values) {
    return values.empty() ? 0
                          : std::accumulate(values.begin(), values.end(), 0.0) /
                                static_cast<double>(values.size());
}

} // namespace

Sensors::Sensors(const Description& description, const Physics& physics, double timeScale)
    : m_physics(physics), m_timeScale(timeScale),
      m_timeConstant(description.load.thermalSeconds * 1e6), m_heat(physics.amplifiers().size()),
      m_loads(physics.amplifiers().size()), m_arePowered(physics.amplifiers().size(), true),
      m_last(Clock::now()) {
    if (description.isV2()) {
        addList(description.temperature, Quantity::TEMPERATURE, description.temperatureCount);
        addList(description.current, Quantity::CURRENT, description.currentCount);
    }
    for (const BoardDescription& board : description.boards) {
        const bool isListed = description.isV2() && board.hwid == HWID_AMPLIFIER;
        if (board.active && !isListed) {
            addBoard(board, description.isV2());
        }
    }
}

void Sensors::addBoard(const BoardDescription& board, bool isV2) {
    const auto& amplifiers = m_physics.amplifiers();
    const auto found = std::find(amplifiers.begin(), amplifiers.end(), &board);
    for (std::size_t i = 0; i < board.measures.size(); ++i) {
        Sensor sensor;
        sensor.hwid = board.hwid;
        sensor.address = board.address;
        sensor.index = static_cast<unsigned>(i);
        sensor.measure = &board.measures[i];
        sensor.quantity = quantityOf(sensor.measure->name);
        sensor.curve = sensor.measure->curve();
        sensor.highest = sensor.badMark = maxAdc(sensor.measure->size);
        sensor.amplifier = static_cast<std::size_t>(found - amplifiers.begin());
        sensor.followsAll = found == amplifiers.end();
        sensor.lowerAtStart = sensor.measure->lowerThreshold;
        sensor.upperAtStart = sensor.measure->upperThreshold;
        if (isV2) { // a supply: its millivolts, and nothing that marks a bad one
            sensor.curve.coefficients = {0, 0.001};
            sensor.isSigned = true;
            sensor.isGuarded = false;
            sensor.badMark = 0;
        }
        m_sensors.push_back(std::move(sensor));
    }
}

// The generator of protocol 2 numbers its amplifiers' sensors through.
void Sensors::addList(const BoardMeasureDescription& measure, Quantity quantity,
                      std::size_t count) {
    const bool isCurrent = quantity == Quantity::CURRENT;
    for (std::size_t i = 0; i < count; ++i) {
        Sensor sensor;
        sensor.hwid = HWID_AMPLIFIER;
        sensor.address = sensor.index = static_cast<unsigned>(i);
        sensor.measure = &measure;
        sensor.quantity = quantity;
        sensor.curve.coefficients = {0, isCurrent ? 0.001 : 0.125};
        sensor.highest = isCurrent ? V2_HIGHEST_CURRENT : V2_HIGHEST_TEMPERATURE;
        sensor.badMark = isCurrent ? V2_BAD_CURRENT : V2_BAD_TEMPERATURE;
        sensor.amplifier = i;
        sensor.followsAll = i >= m_heat.size();
        sensor.upperAtStart =
            toAdc(sensor.curve, measure.curve().at(measure.upperThreshold), sensor.highest);
        m_sensors.push_back(std::move(sensor));
    }
}

double Sensors::follow(const Sensor& sensor, const std::vector<double>& amplifiers,
                       double mean) const {
    return sensor.followsAll ? mean : amplifiers[sensor.amplifier];
}

bool Sensors::isDead(const Sensor& sensor) const {
    const bool isCurrent = sensor.quantity == Quantity::CURRENT;
    if (isCurrent && !sensor.followsAll) {
        return !m_arePowered[sensor.amplifier];
    }
    return (isCurrent || sensor.measure->isSwitched) && !m_isMainOn;
}

double Sensors::value(const Sensor& sensor) const {
    const BoardMeasureDescription& measure = *sensor.measure;
    if (isDead(sensor)) {
        return 0;
    }
    const double share = sensor.quantity == Quantity::TEMPERATURE
                             ? follow(sensor, m_heat, m_meanHeat)
                             : follow(sensor, m_loads, m_meanLoad);
    return measure.idle + (measure.full - measure.idle) * share;
}

std::uint32_t Sensors::raw(const Sensor& sensor) const {
    if (sensor.isSigned) {
        const double steps = value(sensor) / sensor.curve.coefficients[1];
        const double kept = std::clamp(steps, -2147483648.0, 2147483647.0);
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(std::round(kept)));
    }
    return toAdc(sensor.curve, value(sensor), sensor.highest);
}

void Sensors::setLoad(const ShotModel* model) {
    if (model) {
        m_loads = model->loads;
    } else {
        std::fill(m_loads.begin(), m_loads.end(), 0);
    }
    m_meanLoad = meanOf(m_loads);
}

void Sensors::setSupply(bool isMainOn, bool areFansOn, std::vector<bool> amplifiers) {
    m_isMainOn = isMainOn;
    m_arePowered = std::move(amplifiers);
    m_cooling = areFansOn ? 1 : COOLING_WITHOUT_FANS;
}

void Sensors::advance(double microseconds) {
    const double kept = std::exp(-m_cooling * microseconds / m_timeConstant);
    for (std::size_t i = 0; i < m_heat.size(); ++i) {
        const double target = m_loads[i] / m_cooling;
        m_heat[i] = target + (m_heat[i] - target) * kept;
    }
    m_meanHeat = meanOf(m_heat);
}

void Sensors::catchUp() {
    if (m_timeScale <= 0 || m_isHeld) {
        return;
    }
    const Clock::time_point now = Clock::now();
    advance(std::chrono::duration<double, std::micro>(now - m_last).count() / m_timeScale);
    m_last = now;
}

void Sensors::holdClock(bool isHeld) {
    catchUp();
    m_isHeld = isHeld;
    m_last = Clock::now();
}

} // namespace simulator
} // namespace fus
