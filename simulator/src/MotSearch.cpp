#include "MotMotion.h"

#include <algorithm>
#include <cmath>

namespace fus {
namespace simulator {

using namespace mprotocol;

namespace {

constexpr unsigned DAC_REST = 127;

void checkRequest(const SearchRequest& request) {
    const bool isUp = request.maxDac > DAC_REST;
    const bool isOnOneSide = request.maxDac != DAC_REST && request.firstDac != DAC_REST &&
                             isUp == (request.firstDac > DAC_REST);
    const bool rises = isUp ? request.firstDac < request.maxDac : request.firstDac > request.maxDac;
    if (!isOnOneSide || !rises || request.stepDac == 0 || request.stepDac >= DAC_REST) {
        refuseMot(MOT_BAD_SEARCH, request.axis);
    }
}

unsigned nextDac(const SearchRequest& request, unsigned dac) {
    if (request.maxDac > DAC_REST) {
        return std::min(dac + request.stepDac, request.maxDac);
    }
    return dac > request.maxDac + request.stepDac ? dac - request.stepDac : request.maxDac;
}

// A search, step by step: each appends to the path what the axis does.
class Search {
public:
    Search(const MotAxis& axis, const AxisTrouble& trouble, const MechanicsDescription& board,
           const SearchRequest& request)
        : m_axis(axis), m_trouble(trouble), m_board(board), m_request(request),
          m_reach(axis.reach(trouble)), m_path(axis.position) {}

    MotMotion plan();

private:
    unsigned setInMotion();
    unsigned lookEverywhere(double speed);
    bool look(double speed, double target);
    std::optional<double> meet(double reference, double direction, double target) const;
    bool wantsSecond() const { return m_axis.value(PARAM_ZERO_COUNT) == 2; }
    bool isRotary() const { return m_axis.description().topology == AxisTopology::R1; }

    const MotAxis& m_axis;
    const AxisTrouble& m_trouble;
    const MechanicsDescription& m_board;
    const SearchRequest& m_request;
    const AxisRange m_reach;
    MotPath m_path;
    unsigned m_dac = 0;
    std::optional<double> m_origin;
    std::optional<double> m_origin2;
};

// Raises the DAC value until the axis moves. The error, if it doesn't.
unsigned Search::setInMotion() {
    const bool isStuck = m_trouble.isBlocked || m_trouble.isEncoderOut;
    for (m_dac = m_request.firstDac; isStuck || m_axis.speedAt(m_dac) == 0;
         m_dac = nextDac(m_request, m_dac)) {
        m_path.hold(m_board.searchStepMs);
        if (m_dac == m_request.maxDac) {
            const bool saysCable = m_trouble.isEncoderOut && m_axis.flag(PARAM_ENCODER_DETECTION);
            return saysCable ? MOT_ENCODER_CABLE : MOT_BLOCKED;
        }
    }
    return MOT_OK;
}

// Where a reference is met on the way to the target.
std::optional<double> Search::meet(double reference, double direction, double target) const {
    const double here = m_path.end();
    if (isRotary()) {
        const double turn = m_axis.description().revolution;
        const double ahead = std::fmod((reference - here) * direction, turn);
        return here + direction * (ahead < 0 ? ahead + turn : ahead);
    }
    const bool isAhead = (reference - here) * direction >= 0;
    const bool isOnTheWay = isAhead && (target - reference) * direction >= 0;
    return isOnTheWay ? std::optional<double>(reference) : std::nullopt;
}

// Travels to the target, or as far as needed. True when all is found.
bool Search::look(double speed, double target) {
    const AxisDescription& built = m_axis.description();
    const double direction = speed < 0 ? -1 : 1;
    if (!m_origin && !m_trouble.lacksReference) {
        m_origin = meet(built.reference, direction, target);
    }
    if (!m_origin2 && built.topology == AxisTopology::L2 && !m_trouble.lacksReference2) {
        m_origin2 = meet(built.reference2, direction, target);
    }
    const bool isDone = m_origin && (m_origin2 || !wantsSecond());
    if (isDone) {
        const double last = wantsSecond() ? *m_origin2 : *m_origin;
        target = wantsSecond() && (*m_origin - last) * direction > 0 ? *m_origin : last;
    }
    m_path.cruise(std::max((target - m_path.end()) / speed, 0.0), speed);
    if (isDone) {
        m_path.ramp(m_axis.value(PARAM_ACCEL_DURATION), 0);
    } else {
        m_path.hold(m_board.blockMs);
    }
    return isDone;
}

// To the end that the DAC value drives it to, then to the other one.
unsigned Search::lookEverywhere(double speed) {
    bool isDone = false;
    if (isRotary()) {
        isDone =
            look(speed, m_path.end() + (speed < 0 ? -1.0 : 1.0) * m_axis.description().revolution);
    } else {
        isDone = look(speed, speed < 0 ? m_reach.low : m_reach.high) ||
                 look(-speed, speed < 0 ? m_reach.high : m_reach.low);
    }
    return isDone ? MOT_OK : m_origin ? MOT_NO_REFERENCE_2 : MOT_NO_REFERENCE;
}

MotMotion Search::plan() {
    unsigned error = setInMotion();
    const double speed = m_axis.speedAt(m_dac);
    if (error == MOT_OK && m_axis.flag(PARAM_INVERTED) != m_axis.description().isInverted) {
        m_path.cruise(m_board.searchStepMs, speed);
        error = MOT_BAD_INVERSION;
    } else if (error == MOT_OK) {
        error = lookEverywhere(speed);
    }
    MotMotion motion;
    motion.searchDac = m_dac;
    motion.duration = m_path.duration();
    motion.courses.push_back({m_request.axis, m_path, m_path, m_reach});
    if (error != MOT_OK) {
        motion.fail(motion.duration, error, m_request.axis);
    } else {
        motion.finding = Finding{static_cast<std::uint32_t>(*m_origin),
                                 static_cast<std::uint32_t>(m_origin2.value_or(0))};
    }
    return motion;
}

} // namespace

MotMotion MotPlanner::search(const SearchRequest& request) const {
    checkRequest(request);
    needMotor(request.axis);
    const AxisTrouble trouble = troubleOf(faults, request.axis);
    return Search(axes[request.axis], trouble, board, request).plan();
}

} // namespace simulator
} // namespace fus
