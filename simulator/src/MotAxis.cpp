#include "MotAxis.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace fus {
namespace simulator {

using namespace mprotocol;

namespace {

constexpr std::size_t LINE_SIZE = 100;
constexpr int DAC_REST = 127;
constexpr double DAC_RANGE = 128;

} // namespace

AxisTrouble troubleOf(const FaultBook& faults, unsigned axis) {
    AxisTrouble trouble;
    if (!faults.any()) {
        return trouble;
    }
    const auto fault = [&](FaultKind kind) { return faults.onAxis(kind, axis); };
    trouble.isMotorOut = fault(FaultKind::MOTOR_CABLE).has_value();
    trouble.isEncoderOut = fault(FaultKind::ENCODER_CABLE).has_value();
    if (const auto block = fault(FaultKind::AXIS_BLOCK)) {
        trouble.isBlocked = block->value == 0;
        trouble.blockAt = block->value == 0 ? std::nullopt : std::optional<double>(block->value);
    }
    if (const auto missing = fault(FaultKind::NO_REFERENCE)) {
        trouble.lacksReference = missing->value != 2;
        trouble.lacksReference2 = missing->value == 2;
    }
    if (const auto slip = fault(FaultKind::TOLERANCE)) {
        trouble.slipAfter = slip->value;
    }
    trouble.missesTarget = fault(FaultKind::OFF_TARGET).has_value();
    return trouble;
}

MotAxis::MotAxis(unsigned index, const MechanicsDescription& board)
    : position(board.axes[index].start), m_index(index), m_description(&board.axes[index]),
      m_logLines(board.logLines) {
    for (unsigned id = 0; id < m_values.size(); ++id) {
        m_values[id] = motRaw(MECH_PARAMS[id], initialMotValue(id));
    }
    m_values[PARAM_R_MAX_AXIS_COUNT] = static_cast<std::uint32_t>(board.axes.size());
    m_values[PARAM_R_TRAJ_MAXSIZE] = board.maxMoves;
    m_values[PARAM_R_LOG_SIZE] = board.logLines;
    for (const auto& [id, raw] : m_description->parameters) {
        m_values[id] = raw;
    }
}

void MotAxis::clearOrigin() {
    m_values[PARAM_ORIGIN_FOUND] = 0;
    m_values[PARAM_R_ORIGIN_POS] = 0;
    m_values[PARAM_R_ORIGIN2_POS] = 0;
}

bool MotAxis::isWithinBounds(std::uint32_t absolute) const {
    const auto relative = static_cast<std::int32_t>(absolute - value(PARAM_R_ORIGIN_POS));
    return relative >= signedValue(PARAM_LOWER_BOUND) && relative <= signedValue(PARAM_UPPER_BOUND);
}

double MotAxis::speedAt(unsigned dac) const {
    const int drive = static_cast<int>(dac) - DAC_REST;
    if (static_cast<unsigned>(std::abs(drive)) < m_description->movingDac) {
        return 0;
    }
    const double speed = m_description->topSpeed / 1000 * drive / DAC_RANGE;
    return m_description->isInverted ? -speed : speed;
}

AxisRange MotAxis::reach(const AxisTrouble& trouble) const {
    if (trouble.isBlocked || trouble.isEncoderOut || trouble.isMotorOut) {
        return {position, position};
    }
    AxisRange range{m_description->low * 1.0, m_description->high * 1.0};
    if (m_description->topology == AxisTopology::R1) {
        range = {-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
    }
    if (trouble.blockAt && position <= *trouble.blockAt) {
        range.high = std::min(range.high, *trouble.blockAt);
    } else if (trouble.blockAt) {
        range.low = std::max(range.low, *trouble.blockAt);
    }
    return range;
}

void MotAxis::note(const std::string& line) {
    m_log.push_back(line.substr(0, LINE_SIZE));
    if (m_log.size() > m_logLines) {
        m_log.pop_front();
    }
}

} // namespace simulator
} // namespace fus
