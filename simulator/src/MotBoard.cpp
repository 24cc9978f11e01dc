#include "MotBoard.h"

#include "fus/P_GProtocol.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace fus {
namespace simulator {

using namespace gprotocol;
using namespace mprotocol;

namespace {

std::uint32_t counterValue(double position) {
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(std::llround(position)));
}

} // namespace

MotBoard::MotBoard(const Description& description, FaultBook& faults, double timeScale)
    : m_board(description.mechanics), m_faults(faults), m_timeScale(timeScale),
      m_epoch(Clock::now()), m_displacement(description.mechanics.axes.size()) {
    for (unsigned i = 0; i < m_board.axes.size(); ++i) {
        m_axes.emplace_back(i, m_board);
    }
    if (description.hasMechanics) {
        m_thread = std::thread([this] { run(); });
    }
}

MotBoard::~MotBoard() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_quit = true;
        m_changed.notify_all();
    }
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

// --- time ---

double MotBoard::now() const {
    if (m_timeScale <= 0) {
        return m_virtualNow;
    }
    const std::chrono::duration<double, std::milli> real = Clock::now() - m_epoch;
    return real.count() / m_timeScale;
}

MotBoard::Clock::time_point MotBoard::realTime(double simulated) const {
    const std::chrono::duration<double, std::milli> real(simulated * m_timeScale);
    return m_epoch + std::chrono::duration_cast<Clock::duration>(real);
}

bool MotBoard::isDue(double simulated) const {
    return std::isfinite(simulated) && (m_timeScale <= 0 || Clock::now() >= realTime(simulated));
}

double MotBoard::nextEvent() const {
    return m_motion ? std::min(m_motion->end(), m_route.timeout) : MOT_FOREVER;
}

void MotBoard::run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_quit) {
        if (!sendDue(lock) && !advance()) {
            waitForNext(lock);
        }
    }
}

// What happens next in a motion, if its time has come.
bool MotBoard::advance() {
    const double event = nextEvent();
    if (!isDue(event)) {
        return false;
    }
    m_virtualNow = std::max(m_virtualNow, event);
    if (m_route.timeout < m_motion->end()) {
        giveUp();
    } else {
        finish();
    }
    return true;
}

bool MotBoard::sendDue(std::unique_lock<std::mutex>& lock) {
    const auto found =
        std::find_if(m_outgoing.begin(), m_outgoing.end(),
                     [](const Outgoing& packet) { return packet.due <= Clock::now(); });
    if (found == m_outgoing.end()) {
        return false;
    }
    const Outgoing packet = std::move(*found);
    m_outgoing.erase(found);
    lock.unlock();
    packet.outlet->send(packet.data);
    lock.lock();
    return true;
}

void MotBoard::waitForNext(std::unique_lock<std::mutex>& lock) {
    Clock::time_point next = Clock::time_point::max();
    const double event = nextEvent();
    if (std::isfinite(event)) {
        next = realTime(event);
    }
    for (const Outgoing& packet : m_outgoing) {
        next = std::min(next, packet.due);
    }
    if (next == Clock::time_point::max()) {
        m_changed.wait(lock);
    } else {
        m_changed.wait_until(lock, next);
    }
}

// --- motions ---

void MotBoard::release(const std::shared_ptr<Outlet>& outlet, std::uint32_t id) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_accepted) {
        return;
    }
    Accepted accepted = std::move(*m_accepted);
    m_accepted.reset();
    if (accepted.stops) {
        haltByUser();
        return;
    }
    const double timeout = accepted.time > 0 ? now() + accepted.time : MOT_FOREVER;
    const Route route{outlet, id, accepted.command, timeout};
    if (accepted.motion) {
        m_route = route;
        start(std::move(*accepted.motion));
        if (accepted.isStruck) {
            sufferAll();
        }
    } else if (accepted.refusal) {
        answerError(route, *accepted.refusal);
    } else {
        answer(route, BOARD_RESULT_YES, {});
    }
    m_changed.notify_all();
}

void MotBoard::start(MotMotion motion) {
    motion.start = now();
    m_motion = std::move(motion);
    m_status = 0;
    for (const Course& course : m_motion->courses) {
        MotAxis& axis = m_axes[course.axis];
        if (m_motion->isGuided) {
            axis.setValue(PARAM_R_LAST_ACCEL, motRaw(MECH_PARAMS[PARAM_R_LAST_ACCEL],
                                                     std::fabs(course.first.firstAcceleration())));
        }
        axis.setValue(PARAM_R_LAST_ASYNC_ERROR, 0);
        if (m_motion->command == MOT_INIT) {
            axis.clearOrigin();
        }
    }
    note(*m_motion, "starts");
    m_changed.notify_all();
}

// False if nothing moves.
bool MotBoard::halt(unsigned error) {
    if (!m_motion) {
        return false;
    }
    if (m_motion->isStopped) {
        return true;
    }
    MotMotion& motion = *m_motion;
    const double ramp = m_axes[motion.courses[0].axis].value(PARAM_ACCEL_DURATION);
    motion.brake(now(), ramp);
    motion.error = error;
    motion.errorAxis = motion.courses[0].axis;
    // A stopped search is no failure: it has just found nothing.
    motion.result = motion.command == MOT_INIT ? 0 : MOT_USER_STOP;
    m_changed.notify_all();
    return true;
}

void MotBoard::haltByUser() {
    halt(m_motion && m_motion->isGuided ? MOT_STOPPED : MOT_RAW_STOPPED);
}

void MotBoard::sufferAll() {
    for (const Course& course : m_motion->courses) {
        m_motion->suffer(troubleOf(m_faults, course.axis), m_axes[course.axis], now());
    }
    m_changed.notify_all();
}

void MotBoard::finish() {
    const MotMotion motion = std::move(*m_motion);
    for (const Course& course : motion.courses) {
        MotAxis& axis = m_axes[course.axis];
        axis.position = std::round(motion.positionAt(course, motion.end()));
        axis.setValue(PARAM_R_LAST_ASYNC_ERROR, course.axis == motion.errorAxis ? motion.error : 0);
        if (motion.command == MOT_INIT) {
            axis.setValue(PARAM_R_INIT_DAC_USED, motion.searchDac);
        }
        if (motion.finding) {
            axis.setValue(PARAM_ORIGIN_FOUND, 1);
            axis.setValue(PARAM_R_ORIGIN_POS, motion.finding->origin);
            axis.setValue(PARAM_R_ORIGIN2_POS, motion.finding->origin2);
        }
    }
    m_status = motion.error == MOT_OK ? 0 : motCode(motion.error, motion.errorAxis);
    m_motion.reset();
    note(motion, motion.error == MOT_OK
                     ? "done"
                     : formatted("error %u (%s)", motion.error, motText(motion.error)));
    answerMotion(motion);
    m_changed.notify_all();
}

// The generator has waited long enough; the board goes on.
void MotBoard::giveUp() {
    answerError(m_route, {BOARD_TIMEOUT, 0, ""});
    m_route.outlet.reset();
    m_route.timeout = MOT_FOREVER;
}

void MotBoard::reboot() {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (MotAxis& axis : m_axes) {
        MotAxis fresh(axis.index(), m_board);
        fresh.position = std::round(positionOf(axis));
        axis = fresh;
    }
    m_accepted.reset();
    m_prepared.reset();
    m_motion.reset();
    m_route = Route();
    m_displacement.assign(m_axes.size(), {});
    m_status = 0;
    m_changed.notify_all();
}

double MotBoard::positionOf(const MotAxis& axis) const {
    if (m_motion) {
        for (const Course& course : m_motion->courses) {
            if (course.axis == axis.index()) {
                return m_motion->positionAt(course, now());
            }
        }
    }
    return axis.position;
}

void MotBoard::note(const MotMotion& motion, const std::string& text) {
    const char* name = mechCommandName(static_cast<std::uint16_t>(motion.command));
    for (const Course& course : motion.courses) {
        MotAxis& axis = m_axes[course.axis];
        axis.note(formatted("%.0f ms: %s %s at %u", now(), name, text.c_str(),
                            static_cast<unsigned>(counterValue(positionOf(axis)))));
    }
}

// --- looking ---

MechanicsState MotBoard::state() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    MechanicsState state;
    state.status = m_status;
    state.isMoving = moves();
    state.isPrepared = m_prepared.has_value();
    state.displacement = m_displacement;
    state.motions = m_motions;
    for (const MotAxis& axis : m_axes) {
        state.axes.push_back({counterValue(positionOf(axis)),
                              0,
                              axis.isOriginFound(),
                              axis.value(PARAM_R_ORIGIN_POS),
                              axis.value(PARAM_R_ORIGIN2_POS),
                              axis.value(PARAM_R_INIT_DAC_USED),
                              {axis.log().begin(), axis.log().end()}});
    }
    if (m_motion) {
        for (const Course& course : m_motion->courses) {
            state.axes[course.axis].speed = m_motion->speedAt(course, now()) * 1000;
        }
    }
    return state;
}

std::uint32_t MotBoard::parameter(unsigned axis, unsigned id) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!findMotParameter(id)) {
        throw std::out_of_range("no such parameter");
    }
    return valueNow(m_axes.at(axis), id);
}

void MotBoard::setParameter(unsigned axis, unsigned id, std::uint32_t raw) {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!findMotParameter(id)) {
        throw std::out_of_range("no such parameter");
    }
    m_axes.at(axis).setValue(id, raw);
}

// A client that has the answer to its command may take the motion for started.
bool MotBoard::moves() const {
    return m_motion || (m_accepted && m_accepted->motion);
}

bool MotBoard::waitForMotion(bool moving, unsigned timeoutMs) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [&] { return moves() == moving; });
}

std::uint32_t MotBoard::valueNow(const MotAxis& axis, unsigned id) const {
    switch (id) {
    case PARAM_R_ENCODER_POS:
        return counterValue(positionOf(axis));
    case PARAM_R_MOTOR_DETECTED:
        return troubleOf(m_faults, axis.index()).isMotorOut ? 0 : 1;
    case PARAM_R_TRAJ_SIZE:
        return static_cast<std::uint32_t>(m_displacement[axis.index()].size());
    default:
        return axis.value(id);
    }
}

} // namespace simulator
} // namespace fus
