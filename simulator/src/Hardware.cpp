#include "Hardware.h"

#include "Parameters.h"
#include "Refusal.h"
#include "StopReasons.h"

#include "fus/P_GProtocol.h"

#include <algorithm>
#include <stdexcept>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::uint32_t MAX_COMPOSITE_TOTAL = 2000000; // [microseconds]

std::uint32_t low32(std::uint64_t value) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, 0xFFFFFFFFU));
}

bool isThreshold(unsigned id) {
    return id >= BPARAM_ALL_BO_MIN && id < BPARAM_ALL_BO_MAX + BPARAM_MEASURE_RANGE;
}

const StopReason* overloadReason(const std::string& measure) {
    return measure == "tem"   ? &STOP_AMPLIFIER_TEMP
           : measure == "idc" ? &STOP_AMPLIFIER_CURRENT
                              : nullptr;
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

Hardware::Hardware(const Description& description, const Physics& physics)
    : m_description(description), m_physics(physics), m_buffers(description.bufferCount),
      m_generatorParameters(description.generatorParameters),
      m_channelStates(description.channelCount, true) {
    for (const BoardDescription& board : description.boards) {
        fillBoard(board);
    }
    for (const GeneratorParameterRow& row : generatorParameterRows()) {
        m_generatorParameters.emplace(row.id, row.initial);
    }
}

void Hardware::fillBoard(const BoardDescription& board) {
    auto& values = m_boards[{board.hwid, board.address}].parameters;
    const auto described = m_description.boardParameters.find(board.hwid);
    if (described != m_description.boardParameters.end()) {
        values.insert(described->second.begin(), described->second.end());
    }
    values.emplace(BPARAM_ALL_HW_VERSION, hardwareWord(board.hardwareVersion));
    values.emplace(BPARAM_ALL_HW_ADDRESS, board.address);
    values.emplace(BPARAM_ALL_UID, board.uniqueId);
    values.emplace(BPARAM_ALL_CRC, board.crc);
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
    if (!found || !found->active) {
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
    auto& values = state(hwid, address).parameters;
    const auto found = values.find(id);
    if (found == values.end()) {
        refuse(UNKNOWN_PARAMETER, id, "No parameter %u.", id);
    }
    const ParameterRow* row = findParameterRow(id);
    if (row && row->access == Access::READ_ONLY) {
        refuse(READ_ONLY_PARAMETER, id, "Parameter %u can't be written.", id);
    }
    const std::uint64_t highest = isThreshold(id) ? 0xFFFFFFFFU : row ? row->maximum : 0;
    const bool isBadSwitch =
        id == BPARAM_UPB_TRAJ_CHECKS && value != TRAJ_CHECKS_OFF && value != TRAJ_CHECKS_ON;
    if (value > highest || isBadSwitch) {
        refuse(INCORRECT_PARAMETER, id, "Bad value for parameter %u.", id);
    }
    found->second = value;
    ++m_parameterVersion;
}

double Hardware::loadOf(const BoardDescription& board) const {
    if (!m_load || m_load->loads.empty()) {
        return 0;
    }
    double sum = 0;
    for (std::size_t i = 0; i < m_load->loads.size(); ++i) {
        if (m_physics.amplifiers()[i] == &board) {
            return m_load->loads[i];
        }
        sum += m_load->loads[i];
    }
    return sum / static_cast<double>(m_load->loads.size());
}

Bytes Hardware::readMeasures(const BoardDescription& board) {
    std::lock_guard<std::mutex> lock(m_mutex);
    Bytes values;
    const double load = loadOf(board);
    for (const BoardMeasureDescription& measure : board.measures) {
        const std::uint32_t value = m_physics.boardValue(measure, load);
        for (unsigned byte = 0; byte < measure.size; ++byte) {
            ByteWriter(values).u8(value >> (8 * byte));
        }
    }
    return values;
}

std::vector<std::array<std::uint32_t, 3>> Hardware::systemState() const {
    std::vector<std::array<std::uint32_t, 3>> entries;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const BoardDescription& board : m_description.boards) {
        if (board.active) {
            entries.push_back({board.hwid, board.address, state(board.hwid, board.address).status});
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
    state(hwid, address).parameters.at(id) = value;
    ++m_parameterVersion;
}

void Hardware::setStatus(unsigned hwid, unsigned address, std::uint32_t status) {
    std::lock_guard<std::mutex> lock(m_mutex);
    state(hwid, address).status = status;
}

std::uint8_t Hardware::generatorParameter(unsigned id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_generatorParameters.find(id);
    if (found == m_generatorParameters.end()) {
        refuse(UNKNOWN_PARAMETER, id, "Unknown parameter %u.", id);
    }
    return found->second;
}

void Hardware::setGeneratorParameter(unsigned id, std::uint8_t value) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_generatorParameters.find(id);
    if (found == m_generatorParameters.end()) {
        refuse(UNKNOWN_PARAMETER, id, "Unknown parameter %u.", id);
    }
    found->second = value;
}

std::vector<bool> Hardware::channelStates() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_channelStates;
}

void Hardware::setChannelStates(const std::vector<bool>& states) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_channelStates = states;
}

bool Hardware::checksAreOn() const {
    return m_description.isV2() || upb(BPARAM_UPB_TRAJ_CHECKS) != TRAJ_CHECKS_OFF;
}

std::uint32_t Hardware::maxAmplitude() const {
    return m_description.isV2() ? generatorParameter(V2_AMPLITUDE_THRESHOLD)
                                : low32(upb(BPARAM_UPB_MAX_AMPLITUDE));
}

Limits Hardware::compositeLimits() const {
    Limits limits;
    limits.minShootingFirst = low32(upb(BPARAM_UPB_MIN_SHOOTING_DURATION_SHOT0_COMPOSITE));
    limits.minShooting = low32(upb(BPARAM_UPB_MIN_SHOOTING_DURATION_ALL_COMPOSITE));
    limits.maxShooting = low32(upb(BPARAM_UPB_MAX_SHOOTING_DURATION_COMPOSITE));
    limits.minTotal = low32(upb(BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_COMPOSITE));
    limits.maxTotal = std::max(limits.maxShooting, MAX_COMPOSITE_TOTAL);
    limits.maxShots = static_cast<std::size_t>(upb(BPARAM_UPB_MAX_SHOTS_COMPOSITE));
    return limits;
}

Limits Hardware::limits(unsigned elecMode, unsigned flags, std::size_t shots) const {
    const bool isRepeat = elecMode == EXEC_ELEC_REPEAT;
    const bool repeatsSeveral = isRepeat && shots > 1 && m_description.hasV3Uploads();
    if (elecMode == EXEC_ELEC_COMPOSITE || repeatsSeveral) {
        return compositeLimits();
    }
    const bool isQuick = elecMode != EXEC_ELEC_NORMAL;
    const bool isShort = isQuick || (flags & EXEC_FLAG_OMIT_ALL_MEASURES);
    const TimingDescription& timing = m_description.timing;
    Limits limits;
    if (m_description.isV2()) {
        limits.minShooting = isQuick ? timing.minQuickShooting : timing.minShooting;
        limits.maxShooting = isQuick ? timing.maxQuickShooting : timing.maxShooting;
        limits.minTotal = isRepeat  ? timing.minRepeatTotal
                          : isShort ? timing.minQuickTotal
                                    : timing.minTotal;
        limits.maxTotal = timing.maxTotal;
        limits.minDelay = isRepeat ? timing.minRepeatDelay : 0;
    } else {
        limits.maxShooting = low32(upb(BPARAM_UPB_MAX_SHOOTING_DURATION));
        limits.minTotal = low32(upb(isRepeat  ? BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_REPEAT
                                    : isShort ? BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_QUICK
                                              : BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL));
        limits.maxTotal = low32(upb(BPARAM_UPB_MAX_TOTAL_SHOT_DURATION));
        limits.minDelay = isRepeat ? low32(upb(BPARAM_UPB_MIN_REPEAT_SHOT_DELAY_NOTRIG)) : 0;
    }
    limits.minShootingFirst = limits.minShooting;
    limits.maxShots = isRepeat ? 1 : m_description.maxShots;
    return limits;
}

std::uint32_t Hardware::maxTrajectoryDelay(unsigned elecMode) const {
    if (elecMode == EXEC_ELEC_REPEAT || elecMode == EXEC_ELEC_COMPOSITE) {
        return 0;
    }
    return m_description.isV2() ? m_description.timing.maxTrajectoryDelay
                                : low32(upb(BPARAM_UPB_MAX_TRAJ_REPEAT_DELAY));
}

void Hardware::setLoad(std::shared_ptr<const ShotModel> model) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_load = std::move(model);
}

const StopReason* Hardware::overload(const ShotModel& model, unsigned& address) const {
    const auto& amplifiers = m_physics.amplifiers();
    if (amplifiers.empty() || m_description.isV2()) {
        return nullptr;
    }
    const auto& measures = amplifiers[0]->measures;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (std::size_t i = 0; i < model.boards.size(); ++i) {
        const std::size_t measure = i / amplifiers.size();
        const StopReason* reason = overloadReason(measures[measure].name);
        const unsigned board = amplifiers[i % amplifiers.size()]->address;
        const auto& values = state(HWID_AMPLIFIER, board).parameters;
        const auto upper = values.find(static_cast<unsigned>(BPARAM_ALL_BO_MAX + measure));
        if (reason && upper != values.end() && model.boards[i] > upper->second) {
            address = board;
            return reason;
        }
    }
    return nullptr;
}

} // namespace simulator
} // namespace fus
