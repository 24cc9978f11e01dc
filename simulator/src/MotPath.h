// Where an axis is at which time: pieces of constant acceleration, one behind the other. Times are
// milliseconds from the path's start, positions steps, speeds steps per millisecond.
#pragma once

#include <optional>
#include <vector>

namespace fus {
namespace simulator {

class MotPath {
public:
    explicit MotPath(double position = 0, double speed = 0)
        : m_position(position), m_speed(speed) {}

    // Each appends.
    MotPath& hold(double ms);
    MotPath& cruise(double ms, double speed);
    MotPath& ramp(double ms, double speed); // from the speed at the end so far
    // From rest to rest in this time, with ramps of `rampMs` as far as the time has room for them.
    MotPath& travel(double distance, double ms, double rampMs);

    double duration() const { return m_duration; }
    double end() const { return m_position; }
    double firstAcceleration() const;
    double positionAt(double ms) const;
    double speedAt(double ms) const;
    // When it first leaves this range, if it does.
    std::optional<double> timeOutside(double least, double most) const;

private:
    struct Piece {
        double start, length;
        double position, speed, acceleration; // at its start
        double positionAt(double ms) const;
    };
    const Piece* pieceAt(double ms) const;
    void append(double ms, double speed, double acceleration);

    std::vector<Piece> m_pieces;
    double m_duration = 0;
    double m_position; // at the end
    double m_speed;
};

} // namespace simulator
} // namespace fus
