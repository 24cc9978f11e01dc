// What the boards measure of themselves: currents and supplies follow the load, temperatures the
// load over time. Not locked: Hardware guards it.
#pragma once

#include "Physics.h"

#include "fussim/Description.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace fus {
namespace simulator {

enum class Quantity { TEMPERATURE, CURRENT, VOLTAGE, OTHER };

struct Sensor {
    unsigned hwid = 0;
    unsigned address = 0;
    unsigned index = 0; // among the board's measures; of protocol 2 in the list of its quantity
    Quantity quantity = Quantity::OTHER;
    const BoardMeasureDescription* measure = nullptr;
    MeasureCurve curve;             // from what is read to the physical value
    std::uint32_t highest = 0;      // that can be read
    std::uint32_t badMark = 0;      // the bits that mark a reading as bad
    std::size_t amplifier = 0;      // whose load it follows, among the active ones
    bool followsAll = false;        // it follows the mean of all instead
    bool isSigned = false;          // what is read can be negative
    bool isGuarded = true;          // it has thresholds
    std::uint32_t lowerAtStart = 0; // thresholds, as they are read
    std::uint32_t upperAtStart = 0;
};

class Sensors {
public:
    Sensors(const Description& description, const Physics& physics, double timeScale);

    const std::vector<Sensor>& all() const { return m_sensors; }
    double value(const Sensor& sensor) const;
    // An ADC value, or a word in the encoding of protocol 2.
    std::uint32_t raw(const Sensor& sensor) const;

    // The amplifiers work under this from now on; null when they rest.
    void setLoad(const ShotModel* model);
    // `amplifiers`: which of them have power.
    void setSupply(bool isMainOn, bool areFansOn, std::vector<bool> amplifiers);
    // So much simulated time passes.
    void advance(double microseconds);
    // Time passes with the real clock between shots. While it is held, only advance counts, so that
    // the measures of an execution don't depend on the machine.
    void catchUp();
    void holdClock(bool isHeld);

private:
    using Clock = std::chrono::steady_clock;
    void addBoard(const BoardDescription& board, bool isV2);
    void addList(const BoardMeasureDescription& measure, Quantity quantity, std::size_t count);
    bool isDead(const Sensor& sensor) const;
    double follow(const Sensor& sensor, const std::vector<double>& amplifiers, double mean) const;

    // constant after construction
    const Physics& m_physics;
    const double m_timeScale;
    const double m_timeConstant; // [microseconds] in which an amplifier heats up or cools
    std::vector<Sensor> m_sensors;

    // guarded by Hardware's lock
    std::vector<double> m_heat; // of each amplifier: 0 at rest, 1 after long work in full
    std::vector<double> m_loads;
    double m_meanHeat = 0;
    double m_meanLoad = 0;
    bool m_isMainOn = true;
    std::vector<bool> m_arePowered; // of the amplifiers
    double m_cooling = 1;
    bool m_isHeld = false;
    Clock::time_point m_last;
};

} // namespace simulator
} // namespace fus
