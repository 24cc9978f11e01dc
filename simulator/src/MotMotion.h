// A motion of one or more axes, planned whole before it starts. Times are milliseconds.
#pragma once

#include "MotAxis.h"
#include "MotPath.h"

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

namespace fus {
namespace simulator {

constexpr double MOT_FOREVER = std::numeric_limits<double>::infinity();

struct Course {
    unsigned axis = 0;
    MotPath first; // of the first execution
    MotPath again; // of the others
    AxisRange reach{-MOT_FOREVER, MOT_FOREVER};
};

struct Finding {
    std::uint32_t origin = 0;
    std::uint32_t origin2 = 0;
};

struct MotMotion {
    unsigned command = 0;
    bool isGuided = false; // by position, not by DAC value
    bool isDriven = false; // by the generator's execution
    bool isStopped = false;
    std::vector<Course> courses;
    double period = MOT_FOREVER; // of executions
    std::uint32_t count = 1;
    double start = 0;
    double duration = 0;
    unsigned error = MOT_OK; // with which it ends
    unsigned errorAxis = 0;
    std::uint32_t result = 0;       // code in its result, 0 for a success
    std::optional<Finding> finding; // of a search that succeeds
    unsigned searchDac = 0;

    double end() const { return start + duration; }
    double positionAt(const Course& course, double now) const;
    double speedAt(const Course& course, double now) const;
    // The earliest error is the one that counts. `after` is counted from the start.
    void fail(double after, unsigned errorCode, unsigned axis);
    // Lets all axes slow down from here.
    void brake(double now, double rampMs);
    // What has come over an axis while it moves.
    void suffer(const AxisTrouble& trouble, const MotAxis& axis, double now);

private:
    const MotPath& pathAt(const Course& course, double now, double& time) const;
};

struct SearchRequest {
    unsigned axis = 0;
    unsigned maxDac = 0;
    unsigned firstDac = 0;
    unsigned stepDac = 0;
};

using MovesByAxis = std::vector<std::vector<MechanicalMove>>;

struct MotPlanner {
    const MechanicsDescription& board;
    const std::vector<MotAxis>& axes;
    const FaultBook& faults;

    // All from where the axes are now. Whatever can be seen beforehand is refused.
    MotMotion search(const SearchRequest& request) const;
    MotMotion moveFor(unsigned axis, unsigned dac, double ms) const;
    MotMotion moveSteps(unsigned axis, unsigned dac, std::uint32_t steps) const;
    // With an empty list an axis stands still.
    MotMotion guided(const MovesByAxis& moves, std::uint32_t count, double repeatDelay) const;
    // One list of moves, before it is stored.
    void checkMoves(unsigned axis, const std::vector<MechanicalMove>& moves) const;

private:
    // `stuckMs` is how long it lasts when nothing stops it but its steps can't be made.
    MotMotion raw(unsigned axis, unsigned dac, const MotPath& path, double stuckMs) const;
    void needMotor(unsigned axis) const;
    void checkStart(unsigned axis, const std::vector<MechanicalMove>& moves, bool repeats) const;
    void addTrouble(MotMotion& motion, const Course& course) const;
};

} // namespace simulator
} // namespace fus
