#include "Hardware.h"

#include "MotProtocol.h"
#include "Refusal.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

bool isThreshold(unsigned id) {
    return id >= BPARAM_ALL_BO_MIN && id < BPARAM_ALL_BO_MAX + BPARAM_MEASURE_RANGE;
}

} // namespace

// Four components in 32 bits: years from 2000 on in one form, small numbers in the other.
std::uint32_t hardwareWord(const std::array<unsigned, 4>& v) {
    if (v[0] >= 2000 && v[0] < 2016) {
        return (v[0] - 2000) << 26 | (v[1] & 0xFU) << 22 | (v[2] & 0x3FU) << 16 | (v[3] & 0xFFFFU);
    }
    return ((v[0] + 256) & 0x3FFU) << 22 | (v[2] & 0x3FU) << 16 | (v[1] & 0xFFU) << 8 |
           (v[3] & 0xFFU);
}

Hardware::Hardware(const Description& description, const Physics& physics, const FaultBook& faults,
                   double timeScale)
    : m_description(description), m_physics(physics), m_faults(faults),
      m_buffers(description.bufferCount), m_manualStates(description.channelCount, true),
      m_shutOff(description.channelCount), m_sensors(description, physics, timeScale) {
    for (const BoardDescription& board : description.boards) {
        fillBoard(board);
    }
    for (const Sensor& sensor : m_sensors.all()) {
        m_bounds.push_back({sensor.lowerAtStart, sensor.upperAtStart});
    }
}

void Hardware::takeBoards(const Hardware& other) {
    std::scoped_lock lock(m_mutex, other.m_mutex);
    m_boards = other.m_boards;
    ++m_parameterVersion;
}

void Hardware::fillBoard(const BoardDescription& board) {
    BoardState& filled = m_boards[{board.hwid, board.address}];
    filled = BoardState();
    auto& values = filled.parameters;
    const auto described = m_description.boardParameters.find(board.hwid);
    if (described != m_description.boardParameters.end()) {
        values.insert(described->second.begin(), described->second.end());
    }
    if (m_description.isV2() && board.hwid == HWID_PROCESSOR) {
        values.emplace(V2_MULTIPLEXER, 0);
        values.emplace(BPARAM_UPB_MAX_RAMP_TIME, m_description.timing.maxRamp);
        for (const auto& [id, value] : m_description.generatorParameters) {
            const GeneratorParameterRow* row = findGeneratorParameterRow(id);
            values[row && row->boardParameter ? row->boardParameter : id] = value;
        }
    }
    values.emplace(BPARAM_ALL_HW_VERSION, hardwareWord(board.hardwareVersion));
    values.emplace(BPARAM_ALL_HW_ADDRESS, board.address);
    values.emplace(BPARAM_ALL_UID, board.uniqueId);
    values.emplace(BPARAM_ALL_CRC, board.crc);
    if (board.hwid == HWID_MECHANICS) {
        values.emplace(MOT_PROTOCOL_PARAMETER, m_description.mechanics.protocol);
    }
    for (const ParameterRow& row : parameterRows()) {
        if (row.boards & boardBit(board.hwid)) {
            values.emplace(row.id, row.initial);
        }
    }
    const std::size_t count = std::min<std::size_t>(board.measures.size(), BPARAM_MEASURE_RANGE);
    for (unsigned i = 0; i < count; ++i) {
        values[BPARAM_ALL_BO_MIN + i] = board.measures[i].lowerThreshold;
        values[BPARAM_ALL_BO_MAX + i] = board.measures[i].upperThreshold;
    }
}

Hardware::BoardState& Hardware::state(unsigned hwid, unsigned address) {
    return m_boards.at({hwid, address});
}

const Hardware::BoardState& Hardware::state(unsigned hwid, unsigned address) const {
    return m_boards.at({hwid, address});
}

std::shared_ptr<const Trajectory> Hardware::trajectory(std::size_t buffer) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_buffers.at(buffer);
}

void Hardware::store(std::size_t buffer, std::shared_ptr<const Trajectory> trajectory) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_buffers.at(buffer) = std::move(trajectory);
}

const BoardDescription& Hardware::board(unsigned hwid, unsigned address) const {
    const BoardDescription* found = m_description.findBoard(hwid, address);
    const bool isReachable = hwid == HWID_PROCESSOR || upb(BPARAM_UPB_PERIPH_SLAVE_RESET) != 0;
    if (!found || !found->active || !isReachable) {
        refuse(NO_BOARD, address, "No board of type %u at address %u.", hwid, address);
    }
    return *found;
}

std::uint64_t Hardware::readParameter(unsigned hwid, unsigned address, unsigned id) const {
    board(hwid, address);
    const ParameterRow* row = findParameterRow(id);
    if (row && row->access == Access::WRITE_ONLY && (row->boards & boardBit(hwid))) {
        refuse(WRITE_ONLY_PARAMETER, id, "Parameter %u can't be read.", id);
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto& values = state(hwid, address).parameters;
    const auto found = values.find(id);
    if (found == values.end()) {
        refuse(UNKNOWN_PARAMETER, id, "No parameter %u.", id);
    }
    return found->second;
}

void Hardware::writeParameter(unsigned hwid, unsigned address, unsigned id, std::uint64_t value) {
    board(hwid, address);
    std::lock_guard<std::mutex> lock(m_mutex);
    const BoardState& target = state(hwid, address);
    if (target.parameters.count(id) == 0) {
        refuse(UNKNOWN_PARAMETER, id, "No parameter %u.", id);
    }
    const ParameterRow* row = findParameterRow(id);
    if (row && row->access == Access::READ_ONLY) {
        refuse(READ_ONLY_PARAMETER, id, "Parameter %u can't be written.", id);
    }
    const bool isGood =
        row ? isAllowed(*row, value) : isThreshold(id) && !crossesThreshold(target, id, value);
    if (!isGood) {
        refuse(INCORRECT_PARAMETER, id, "Bad value for parameter %u.", id);
    }
    change(hwid, address, id, value);
}

bool Hardware::isAllowed(const ParameterRow& row, std::uint64_t value) const {
    switch (row.domain) {
    case Domain::CLOCK:
        return value == 24000000 || value == 25000000;
    case Domain::CHECK_SWITCH:
        return value == TRAJ_CHECKS_OFF || value == TRAJ_CHECKS_ON;
    case Domain::RAMP:
        return value <= state(HWID_PROCESSOR, 0).parameters.at(BPARAM_UPB_MAX_RAMP_TIME);
    default:
        return value <= row.maximum;
    }
}

// A lower threshold above the upper one isn't taken.
bool Hardware::crossesThreshold(const BoardState& board, unsigned id, std::uint64_t value) const {
    const bool isUpper = id >= BPARAM_ALL_BO_MAX;
    const std::uint64_t other =
        board.parameters.at(isUpper ? id - BPARAM_MEASURE_RANGE : id + BPARAM_MEASURE_RANGE);
    return value > 0xFFFFFFFFU || (isUpper ? value < other : value > other);
}

Bytes Hardware::readMeasures(const BoardDescription& board) {
    std::lock_guard<std::mutex> lock(m_mutex);
    refresh();
    Bytes values;
    for (const Sensor& sensor : m_sensors.all()) {
        if (sensor.hwid != board.hwid || sensor.address != board.address) {
            continue;
        }
        const std::uint32_t raw = reading(sensor).raw;
        for (unsigned byte = 0; byte < sensor.measure->size; ++byte) {
            ByteWriter(values).u8(raw >> (8 * byte));
        }
    }
    return values;
}

std::vector<std::array<std::uint32_t, 3>> Hardware::systemState() const {
    std::vector<std::array<std::uint32_t, 3>> entries;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const BoardDescription& board : m_description.boards) {
        if (board.active) {
            entries.push_back({board.hwid, board.address, status(board.hwid, board.address)});
        }
    }
    return entries;
}

std::uint64_t Hardware::value(unsigned hwid, unsigned address, unsigned id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return state(hwid, address).parameters.at(id);
}

void Hardware::setValue(unsigned hwid, unsigned address, unsigned id, std::uint64_t value) {
    std::lock_guard<std::mutex> lock(m_mutex);
    state(hwid, address).parameters.at(id); // it must be there
    change(hwid, address, id, value);
}

void Hardware::setStatus(unsigned hwid, unsigned address, std::uint32_t status) {
    std::lock_guard<std::mutex> lock(m_mutex);
    state(hwid, address).status = status;
}

std::vector<std::uint32_t> Hardware::readings(Quantity quantity, bool areThresholds) {
    std::lock_guard<std::mutex> lock(m_mutex);
    refresh();
    std::vector<std::uint32_t> values;
    const auto& sensors = m_sensors.all();
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        if (sensors[i].quantity == quantity) {
            values.push_back(areThresholds ? m_bounds[i].upper : reading(sensors[i]).raw);
        }
    }
    return values;
}

bool Hardware::setThresholds(Quantity quantity, const std::vector<std::uint32_t>& values) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto& sensors = m_sensors.all();
    const auto count = std::count_if(sensors.begin(), sensors.end(), [quantity](const Sensor& s) {
        return s.quantity == quantity;
    });
    if (values.size() != static_cast<std::size_t>(count)) {
        return false;
    }
    auto next = values.begin();
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        if (sensors[i].quantity == quantity) {
            m_bounds[i].upper = *next++;
        }
    }
    return true;
}

BoardRecord Hardware::record(unsigned hwid, unsigned address) {
    std::lock_guard<std::mutex> lock(m_mutex);
    refresh();
    BoardRecord record;
    record.status = status(hwid, address);
    record.isPowered = isPowered(hwid, address);
    record.isDisabled = state(hwid, address).isDisabled;
    const auto& sensors = m_sensors.all();
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        if (sensors[i].hwid == hwid && sensors[i].address == address) {
            record.readings.push_back(reading(sensors[i]).raw);
            record.values.push_back(m_sensors.value(sensors[i]));
            record.lowerThresholds.push_back(m_bounds[i].lower);
            record.upperThresholds.push_back(m_bounds[i].upper);
        }
    }
    return record;
}

} // namespace simulator
} // namespace fus
