// Supplies, peripherals, and what the generator does to protect itself.
#include "Hardware.h"

#include "fus/P_GProtocol.h"

#include <algorithm>
#include <utility>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

enum Peripheral { POWER_SUPPLY, MASTER_DDS, SLAVE_BOARDS, FANS };

// Bits of a board's status.
constexpr std::uint32_t STATUS_RESET = 1;
constexpr std::uint32_t STATUS_POWER_SUPPLY = 4;

// Codes of a board measure beyond a threshold: 1 in the first extra byte for the upper one, and
// what it was in the second. 0 and 1 stand for temperatures and currents.
constexpr std::uint32_t MEASURE_CODE = 0x28000000;
constexpr std::uint32_t UPPER_BIT = 0x100;
constexpr std::uint32_t FIRST_OTHER_MEASURE = 2;

} // namespace

// --- supplies ---

bool Hardware::isOn(unsigned peripheral) const {
    return state(HWID_PROCESSOR, 0).parameters.at(BPARAM_UPB_PERIPH_POWER_SUPPLY + peripheral) != 0;
}

bool Hardware::isPowered(unsigned hwid, unsigned address) const {
    const BoardState& board = state(hwid, address);
    const bool needsMain = hwid == HWID_AMPLIFIER || hwid == HWID_PROCESSOR;
    return (!needsMain || isOn(POWER_SUPPLY)) && !board.isSwitchedOff && !board.isDisabled;
}

std::uint32_t Hardware::status(unsigned hwid, unsigned address) const {
    return state(hwid, address).status | (isPowered(hwid, address) ? 0 : STATUS_POWER_SUPPLY) |
           m_faults.boardStatus(hwid, address);
}

void Hardware::change(unsigned hwid, unsigned address, unsigned id, std::uint64_t value) {
    m_sensors.catchUp();
    std::uint64_t& target = state(hwid, address).parameters.at(id);
    const bool isTurnedOn = target == 0 && value != 0;
    target = value;
    ++m_parameterVersion;
    if (isTurnedOn && id == BPARAM_UPB_PERIPH_POWER_SUPPLY) {
        restoreAll();
    } else if (isTurnedOn && id == BPARAM_UPB_PERIPH_SLAVE_RESET) {
        resetSlaves();
    }
}

void Hardware::switchAmplifiers(bool isOn) {
    std::lock_guard<std::mutex> lock(m_mutex);
    change(HWID_PROCESSOR, 0, BPARAM_UPB_PERIPH_POWER_SUPPLY, isOn ? 1 : 0);
    for (const BoardDescription& board : m_description.boards) {
        if (board.hwid == HWID_AMPLIFIER && board.active && board.hasPowerSwitch) {
            state(board.hwid, board.address).isSwitchedOff = !isOn;
        }
    }
    if (isOn) {
        restoreAll();
    }
}

// They come up as they were at the start, and say that they were reset.
void Hardware::resetSlaves() {
    for (const BoardDescription& board : m_description.boards) {
        if (board.active && board.hwid != HWID_PROCESSOR) {
            fillBoard(board);
            state(board.hwid, board.address).status = STATUS_RESET;
        }
    }
    const auto& sensors = m_sensors.all();
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        if (sensors[i].hwid != HWID_PROCESSOR) {
            m_bounds[i] = {sensors[i].lowerAtStart, sensors[i].upperAtStart};
        }
    }
    restoreAll();
    m_slavesWereReset = true;
}

bool Hardware::takeSlaveReset() {
    std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_slavesWereReset, false);
}

std::uint64_t Hardware::valueAtStart(unsigned hwid, unsigned id) const {
    const auto board = m_description.boardParameters.find(hwid);
    if (board != m_description.boardParameters.end() && board->second.count(id) > 0) {
        return board->second.at(id);
    }
    return findParameterRow(id)->initial;
}

// They come up on order, which is nothing to be told.
void Hardware::rebootSlaves() {
    std::lock_guard<std::mutex> lock(m_mutex);
    resetSlaves();
    for (auto& [key, board] : m_boards) {
        board.status = key.first == HWID_PROCESSOR ? board.status : 0;
    }
    m_manualStates.assign(m_manualStates.size(), true);
    change(HWID_PROCESSOR, 0, BPARAM_UPB_CLOCK_FREQUENCY,
           valueAtStart(HWID_PROCESSOR, BPARAM_UPB_CLOCK_FREQUENCY));
}

void Hardware::restoreAll() {
    for (auto& [key, board] : m_boards) {
        board.isDisabled = false;
    }
    std::fill(m_shutOff.begin(), m_shutOff.end(), false);
    ++m_channelVersion;
    ++m_parameterVersion;
}

void Hardware::restore() {
    std::lock_guard<std::mutex> lock(m_mutex);
    restoreAll();
}

void Hardware::disableAmplifier(unsigned address) {
    std::lock_guard<std::mutex> lock(m_mutex);
    state(HWID_AMPLIFIER, address).isDisabled = true;
    m_pendingAlarm = Alarm(STOP_BOARD_DISABLED, address);
    ++m_channelVersion;
    ++m_parameterVersion;
}

// --- channels ---

std::vector<bool> Hardware::manualChannelStates() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_manualStates;
}

std::vector<bool> Hardware::ownChannelStates() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<bool> states = m_shutOff;
    states.flip();
    for (const BoardDescription* board : m_physics.amplifiers()) {
        if (state(board->hwid, board->address).isDisabled) {
            const auto first = states.begin() + static_cast<std::ptrdiff_t>(board->firstChannel);
            std::fill_n(first, board->channelCount, false);
        }
    }
    return states;
}

std::vector<bool> Hardware::channelStates() const {
    std::vector<bool> states = ownChannelStates();
    const std::vector<bool> manual = manualChannelStates();
    for (std::size_t i = 0; i < states.size(); ++i) {
        states[i] = states[i] && manual[i];
    }
    return states;
}

void Hardware::setManualChannelStates(const std::vector<bool>& states) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_manualStates = states;
}

void Hardware::shutOffChannel(std::size_t channel) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_shutOff.at(channel) = true;
    ++m_channelVersion;
}

// --- alarms ---

const char* Hardware::obstacle() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return !isOn(POWER_SUPPLY)   ? "The amplifiers' power supply is off."
           : !isOn(MASTER_DDS)   ? "The master synthesizer is off."
           : !isOn(SLAVE_BOARDS) ? "The slave boards are held in reset."
                                 : nullptr;
}

std::optional<Alarm> Hardware::obstacleAlarm() const {
    if (!isOn(POWER_SUPPLY)) {
        return Alarm(STOP_POWER_SUPPLY);
    }
    if (!isOn(MASTER_DDS) || !isOn(SLAVE_BOARDS)) {
        Alarm alarm(STOP_BOARD_DISABLED);
        alarm.hwid = HWID_SYNTHESIZER;
        return alarm;
    }
    return std::nullopt;
}

// What follows from the parameters. Time has to have passed under the old ones before.
void Hardware::refresh() {
    m_sensors.catchUp();
    if (m_refreshedVersion == m_parameterVersion) {
        return;
    }
    m_refreshedVersion = m_parameterVersion;
    std::vector<bool> arePowered;
    for (const BoardDescription* board : m_physics.amplifiers()) {
        arePowered.push_back(isPowered(board->hwid, board->address));
    }
    m_sensors.setSupply(isOn(POWER_SUPPLY), isOn(FANS), std::move(arePowered));
    const auto& sensors = m_sensors.all();
    for (std::size_t i = 0; !m_description.isV2() && i < sensors.size(); ++i) {
        const auto& values = state(sensors[i].hwid, sensors[i].address).parameters;
        const auto lower = values.find(BPARAM_ALL_BO_MIN + sensors[i].index);
        if (lower != values.end()) {
            m_bounds[i].lower = static_cast<std::uint32_t>(lower->second);
            m_bounds[i].upper =
                static_cast<std::uint32_t>(values.at(BPARAM_ALL_BO_MAX + sensors[i].index));
        }
    }
    m_obstacle = obstacleAlarm();
}

Hardware::Reading Hardware::reading(const Sensor& sensor) const {
    Reading result{m_sensors.raw(sensor), false};
    if (!m_faults.any()) {
        return result;
    }
    const auto fault =
        m_faults.reading(sensor.hwid, sensor.address, sensor.measure->name, sensor.index);
    if (fault && fault->kind == FaultKind::READING) {
        result.raw = fault->value;
    } else if (fault) {
        result = {result.raw | sensor.badMark, true};
    }
    return result;
}

Alarm Hardware::passedThreshold(const Sensor& sensor, bool isUpper, std::uint32_t raw) {
    const bool isAmplifier = sensor.hwid == HWID_AMPLIFIER && isUpper;
    Alarm alarm(STOP_BOARD_MEASURE, sensor.address);
    if (isAmplifier && sensor.quantity == Quantity::TEMPERATURE) {
        alarm = Alarm(STOP_AMPLIFIER_TEMP, sensor.address);
    } else if (isAmplifier && sensor.quantity == Quantity::CURRENT) {
        alarm = Alarm(STOP_AMPLIFIER_CURRENT, sensor.address);
        const auto board = m_boards.find({sensor.hwid, sensor.address});
        if (board != m_boards.end()) {
            board->second.isDisabled = true;
            ++m_channelVersion;
            ++m_parameterVersion;
        }
    } else {
        alarm.hwid = sensor.hwid;
        alarm.v3Code =
            MEASURE_CODE | (isUpper ? UPPER_BIT : 0) | (FIRST_OTHER_MEASURE + sensor.index);
    }
    alarm.argument = raw;
    return alarm;
}

std::optional<Alarm> Hardware::alarm() {
    refresh();
    if (m_obstacle) {
        return m_obstacle;
    }
    if (m_pendingAlarm) {
        return std::exchange(m_pendingAlarm, std::nullopt);
    }
    const auto& sensors = m_sensors.all();
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        const Reading now = reading(sensors[i]);
        if (!sensors[i].isGuarded || now.isBad) {
            continue;
        }
        if (now.raw > m_bounds[i].upper || now.raw < m_bounds[i].lower) {
            return passedThreshold(sensors[i], now.raw > m_bounds[i].upper, now.raw);
        }
    }
    return std::nullopt;
}

// --- shooting ---

void Hardware::beginShooting() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_pendingAlarm.reset();
    m_sensors.holdClock(true);
}

void Hardware::endShooting() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sensors.setLoad(nullptr);
    m_sensors.holdClock(false);
}

void Hardware::holdClock(bool isHeld) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sensors.holdClock(isHeld);
}

std::optional<Alarm> Hardware::beginShot(const ShotModel& model) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sensors.setLoad(&model);
    return alarm();
}

std::optional<Alarm> Hardware::passTime(double microseconds) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sensors.advance(microseconds);
    return alarm();
}

void Hardware::endShot() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_sensors.setLoad(nullptr);
}

void Hardware::rest(double microseconds) {
    std::lock_guard<std::mutex> lock(m_mutex);
    refresh();
    m_sensors.advance(microseconds);
}

std::vector<std::uint32_t> Hardware::amplifierReadings() {
    std::lock_guard<std::mutex> lock(m_mutex);
    refresh();
    const auto& amplifiers = m_physics.amplifiers();
    const std::size_t measures = amplifiers.empty() ? 0 : amplifiers[0]->measures.size();
    std::vector<std::uint32_t> values(measures * amplifiers.size());
    for (const Sensor& sensor : m_sensors.all()) {
        if (!sensor.followsAll && sensor.index < measures) {
            values[sensor.index * amplifiers.size() + sensor.amplifier] = reading(sensor).raw;
        }
    }
    return values;
}

} // namespace simulator
} // namespace fus
