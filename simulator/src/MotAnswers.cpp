// What the mechanical board sends of itself, and what the generator does with it.
#include "MotBoard.h"

#include "fus/P_GProtocol.h"

namespace fus {
namespace simulator {

using namespace gprotocol;
using namespace mprotocol;

namespace {

constexpr std::size_t MAX_MOTIONS = 1024;

} // namespace

// --- second answers ---

void MotBoard::answerMotion(const MotMotion& motion) {
    std::uint32_t result = motion.result;
    if (const auto fault = m_faults.onMechanics(FaultKind::MECH_FAIL, motion.command)) {
        result = fault->value;
        m_status = fault->argument != 0 ? fault->argument : m_status;
    }
    if (m_motions.size() == MAX_MOTIONS) {
        m_motions.erase(m_motions.begin());
    }
    m_motions.push_back(
        {motion.command, motion.isDriven, motion.duration, motion.error, motion.errorAxis, result});
    if (motion.isDriven) {
        const bool isUserStop = result == MOT_USER_STOP;
        if (m_onFailure && result != 0) {
            m_onFailure(isUserStop ? STOP_USER : STOP_MECHANICAL);
        }
        m_onFailure = nullptr;
    } else if (result != 0) {
        answerError(m_route, {result, 0, ""});
    } else {
        answer(m_route, BOARD_RESULT_YES, {});
    }
    m_route = Route();
}

void MotBoard::answerError(const Route& route, const Refusal& refusal) {
    Bytes data;
    ByteWriter(data).le32(refusal.code).le32(refusal.argument).text(refusal.text);
    answer(route, BOARD_RESULT_NO, data);
}

void MotBoard::answer(const Route& route, unsigned result, const Bytes& data) {
    if (!route.outlet) {
        return;
    }
    Bytes more = data;
    bool hasSize = result != BOARD_RESULT_YES;
    if (const auto fault =
            m_faults.onMechanics(FaultKind::MECH_DATA, route.command, ANSWER_BOARD_ASYNC)) {
        more.resize(more.size() + fault->value);
        hasSize = true;
        // A result of a motion is always a letter.
        const bool isAnswer = route.command == MOT_INIT || route.command == MOT_TRAJ_SEND;
        result =
            isAnswer && result == BOARD_RESULT_YES && fault->value > 0 ? route.command : result;
    }
    Packet packet{route.id, ANSWER_BOARD_ASYNC, {}};
    ByteWriter writer(packet.payload);
    writer.zeros(12).u8(HWID_MECHANICS).u8(0).u16(route.command).u16(result);
    if (hasSize) {
        writer.u16(static_cast<std::uint32_t>(more.size())).bytes(more);
    }
    const FaultBook::Verdict verdict = m_faults.distort(CMD_BOARD_CMD, packet);
    if (verdict.missing) {
        return;
    }
    double ms = verdict.lateMs;
    if (route.command == MOT_TRAJ_SEND) {
        ms += m_board.uploadMs * m_timeScale;
    }
    Outgoing outgoing{Clock::now(), route.outlet, {}};
    outgoing.due +=
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(ms));
    packet.appendTo(outgoing.data);
    m_outgoing.push_back(std::move(outgoing));
}

// --- the generator ---

void MotBoard::clientGone() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_accepted.reset();
    m_prepared.reset();
    m_outgoing.clear();
    m_route.outlet.reset();
    if (halt(MOT_STOPPED_BY_UPB)) {
        m_motion->duration = 0; // the next client finds it at rest
        finish();
    }
}

void MotBoard::suffer() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_accepted) {
        m_accepted->isStruck = true;
    }
    if (m_motion && !m_motion->isStopped) {
        sufferAll();
    }
}

bool MotBoard::isPrepared() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_prepared.has_value() && !m_motion;
}

void MotBoard::trigger(const std::function<void(const StopReason&)>& onFailure) {
    std::lock_guard<std::mutex> lock(m_mutex);
    const std::optional<Prepared> prepared = m_prepared;
    m_prepared.reset();
    try {
        if (!prepared || m_motion) {
            refuseMot(prepared ? MOT_BUSY : MOT_NO_MOVE);
        }
        MotMotion motion = planner().guided(m_displacement, prepared->count, prepared->delay);
        motion.command = MOT_TRAJ_TRIG;
        motion.isDriven = true;
        m_onFailure = onFailure;
        m_route = Route();
        start(std::move(motion));
    } catch (const Refusal& refusal) {
        m_status = refusal.code;
        onFailure(STOP_MECHANICAL);
    }
}

bool MotBoard::isDriven() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_motion && m_motion->isDriven;
}

void MotBoard::stopDriven() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_motion && m_motion->isDriven) {
        m_onFailure = nullptr;
        halt(MOT_STOPPED_BY_UPB);
    }
}

} // namespace simulator
} // namespace fus
