#include "MotMotion.h"

#include <algorithm>
#include <cmath>

namespace fus {
namespace simulator {

using namespace mprotocol;

// The path that the axis is on at this time, and the time within it.
const MotPath& MotMotion::pathAt(const Course& course, double now, double& time) const {
    time = std::min(std::max(now - start, 0.0), duration);
    if (time < period) {
        return course.first;
    }
    const double cycle = std::min(std::floor(time / period), static_cast<double>(count) - 1);
    time -= cycle * period;
    return cycle < 1 ? course.first : course.again;
}

double MotMotion::positionAt(const Course& course, double now) const {
    double time = 0;
    const MotPath& path = pathAt(course, now, time);
    return std::min(std::max(path.positionAt(time), course.reach.low), course.reach.high);
}

double MotMotion::speedAt(const Course& course, double now) const {
    double time = 0;
    const MotPath& path = pathAt(course, now, time);
    const double position = path.positionAt(time);
    const bool isStuck = position < course.reach.low || position > course.reach.high;
    return isStuck || now >= end() ? 0 : path.speedAt(time);
}

void MotMotion::fail(double after, unsigned errorCode, unsigned axis) {
    if (after > duration || (error != MOT_OK && after == duration)) {
        return;
    }
    duration = after;
    error = errorCode;
    errorAxis = axis;
    result = MOT_ASK_STATUS;
    finding.reset();
}

void MotMotion::brake(double now, double rampMs) {
    bool isMoving = false;
    for (Course& course : courses) {
        const double speed = speedAt(course, now);
        isMoving = isMoving || speed != 0;
        course.first = MotPath(positionAt(course, now), speed).ramp(rampMs, 0);
    }
    period = MOT_FOREVER;
    count = 1;
    start = now;
    duration = isMoving ? rampMs : 0;
    isStopped = true;
    finding.reset();
}

void MotMotion::suffer(const AxisTrouble& trouble, const MotAxis& axis, double now) {
    const double elapsed = std::max(now - start, 0.0);
    if (trouble.isMotorOut) {
        fail(elapsed, MOT_MOTOR_CABLE, axis.index());
    } else if (isGuided && (trouble.isBlocked || trouble.isEncoderOut)) {
        fail(elapsed, MOT_TOLERANCE, axis.index());
    } else if (trouble.isEncoderOut && axis.flag(PARAM_ENCODER_DETECTION)) {
        fail(elapsed, MOT_ENCODER_CABLE, axis.index());
    } else if ((trouble.isBlocked || trouble.isEncoderOut) && axis.flag(PARAM_ABS_ENABLED)) {
        fail(elapsed, MOT_BLOCKED, axis.index());
    } else if (isGuided && trouble.slipAfter) {
        fail(std::max(elapsed, *trouble.slipAfter), MOT_TOLERANCE, axis.index());
    }
}

void MotPlanner::needMotor(unsigned axis) const {
    if (troubleOf(faults, axis).isMotorOut) {
        refuseMot(MOT_MOTOR_CABLE, axis);
    }
}

// --- motions by DAC value ---

MotMotion MotPlanner::moveFor(unsigned axis, unsigned dac, double ms) const {
    const double speed = axes[axis].speedAt(dac);
    return raw(axis, dac, MotPath(axes[axis].position).cruise(ms, speed), ms);
}

MotMotion MotPlanner::moveSteps(unsigned axis, unsigned dac, std::uint32_t steps) const {
    const double speed = axes[axis].speedAt(dac);
    const double ms = speed == 0 ? MOT_FOREVER : steps / std::fabs(speed);
    return raw(axis, dac, MotPath(axes[axis].position).cruise(ms, speed), MOT_FOREVER);
}

MotMotion MotPlanner::raw(unsigned index, unsigned dac, const MotPath& path, double stuckMs) const {
    needMotor(index);
    const MotAxis& axis = axes[index];
    const AxisTrouble trouble = troubleOf(faults, index);
    MotMotion motion;
    motion.duration = path.duration();
    motion.courses.push_back({index, path, path, axis.reach(trouble)});
    const AxisRange& reach = motion.courses[0].reach;
    std::optional<double> stuck = path.timeOutside(reach.low, reach.high);
    if (axis.speedAt(dac) == 0 && dac != 127) {
        stuck = 0; // driven, but too weakly
    }
    if (stuck && trouble.isEncoderOut && axis.flag(PARAM_ENCODER_DETECTION)) {
        motion.fail(*stuck + board.blockMs, MOT_ENCODER_CABLE, index);
    } else if (stuck && axis.flag(PARAM_ABS_ENABLED)) {
        motion.fail(*stuck + board.blockMs, MOT_BLOCKED, index);
    } else if (stuck) {
        motion.duration = stuckMs;
    }
    return motion;
}

// --- motions by position ---

namespace {

double distanceBetween(double from, double to) {
    return std::fabs(to - from);
}

// Clients round a move's time to whole milliseconds.
bool isTooFast(const MotAxis& axis, double distance, double ms) {
    return distance > static_cast<double>(axis.value(PARAM_MAX_SPEED)) * (ms + 1);
}

double totalDelay(const std::vector<MechanicalMove>& moves) {
    double sum = 0;
    for (const MechanicalMove& move : moves) {
        sum += move.delay;
    }
    return sum;
}

MotPath pathAlong(const std::vector<MechanicalMove>& moves, double from, double rampMs) {
    MotPath path(from);
    for (const MechanicalMove& move : moves) {
        path.travel(move.position - path.end(), move.delay, rampMs);
    }
    return path;
}

} // namespace

void MotPlanner::checkMoves(unsigned index, const std::vector<MechanicalMove>& moves) const {
    const MotAxis& axis = axes[index];
    if (!axis.isOriginFound()) {
        refuseMot(MOT_NOT_INITIALIZED, index);
    }
    const MechanicalMove* previous = nullptr;
    for (const MechanicalMove& move : moves) {
        const auto argument = static_cast<unsigned>(&move - moves.data());
        if (move.delay == 0) {
            refuseMot(MOT_NULL_DURATION, index, argument);
        }
        if (!axis.isWithinBounds(move.position)) {
            refuseMot(MOT_OUT_OF_BOUNDS, index, argument);
        }
        if (previous &&
            isTooFast(axis, distanceBetween(previous->position, move.position), move.delay)) {
            refuseMot(MOT_UNREACHABLE, index, argument);
        }
        previous = &move;
    }
}

void MotPlanner::checkStart(unsigned index, const std::vector<MechanicalMove>& moves,
                            bool repeats) const {
    checkMoves(index, moves);
    needMotor(index);
    const MotAxis& axis = axes[index];
    const MechanicalMove& first = moves.front();
    if (isTooFast(axis, distanceBetween(axis.position, first.position), first.delay)) {
        refuseMot(MOT_TOO_FAST, index);
    }
    const double back = distanceBetween(moves.back().position, first.position);
    if (repeats && isTooFast(axis, back, first.delay)) {
        refuseMot(MOT_FIRST_UNREACHABLE, index);
    }
}

MotMotion MotPlanner::guided(const MovesByAxis& moves, std::uint32_t count,
                             double repeatDelay) const {
    MotMotion motion;
    motion.isGuided = true;
    motion.count = count;
    double length = 0;
    for (unsigned index = 0; index < moves.size(); ++index) {
        if (moves[index].empty()) {
            continue;
        }
        checkStart(index, moves[index], count > 1);
        const MotAxis& axis = axes[index];
        const double ramp = axis.value(PARAM_ACCEL_DURATION);
        const double last = moves[index].back().position;
        motion.courses.push_back({index, pathAlong(moves[index], axis.position, ramp),
                                  pathAlong(moves[index], last, ramp),
                                  axis.reach(troubleOf(faults, index))});
        length = std::max(length, totalDelay(moves[index]));
    }
    if (motion.courses.empty()) {
        refuseMot(MOT_NO_MOVE);
    }
    motion.period = length + repeatDelay;
    motion.duration = motion.period * (count - 1.0) + length;
    for (const Course& course : motion.courses) {
        addTrouble(motion, course);
    }
    return motion;
}

void MotPlanner::addTrouble(MotMotion& motion, const Course& course) const {
    const AxisTrouble trouble = troubleOf(faults, course.axis);
    const double tolerance = axes[course.axis].value(PARAM_TOLERANCE_MOVING);
    const double low = course.reach.low - tolerance;
    const double high = course.reach.high + tolerance;
    std::optional<double> stuck = course.first.timeOutside(low, high);
    if (!stuck && motion.count > 1) {
        stuck = course.again.timeOutside(low, high);
        stuck = stuck ? std::optional<double>(*stuck + motion.period) : std::nullopt;
    }
    if (stuck) {
        motion.fail(*stuck, MOT_TOLERANCE, course.axis);
    }
    if (trouble.slipAfter) {
        motion.fail(*trouble.slipAfter, MOT_TOLERANCE, course.axis);
    }
    if (trouble.missesTarget) {
        motion.fail(motion.duration, MOT_TARGET_TOLERANCE, course.axis);
    }
}

} // namespace simulator
} // namespace fus
