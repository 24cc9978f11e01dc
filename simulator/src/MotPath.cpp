#include "MotPath.h"

#include <algorithm>
#include <cmath>

namespace fus {
namespace simulator {

double MotPath::Piece::positionAt(double ms) const {
    const double t = ms - start;
    return position + speed * t + acceleration * t * t / 2;
}

void MotPath::append(double ms, double speed, double acceleration) {
    if (ms <= 0) {
        return;
    }
    m_pieces.push_back({m_duration, ms, m_position, speed, acceleration});
    m_duration += ms;
    if (std::isfinite(ms)) {
        m_position = m_pieces.back().positionAt(m_duration);
    }
}

MotPath& MotPath::hold(double ms) {
    append(ms, 0, 0);
    m_speed = 0;
    return *this;
}

MotPath& MotPath::cruise(double ms, double speed) {
    append(ms, speed, 0);
    m_speed = speed;
    return *this;
}

MotPath& MotPath::ramp(double ms, double speed) {
    append(ms, m_speed, ms > 0 ? (speed - m_speed) / ms : 0);
    m_speed = speed;
    return *this;
}

MotPath& MotPath::travel(double distance, double ms, double rampMs) {
    const double target = m_position + distance;
    const double rampTime = std::min(rampMs, ms / 2);
    const double speed = ms > rampTime ? distance / (ms - rampTime) : 0;
    ramp(rampTime, speed).cruise(ms - 2 * rampTime, speed).ramp(rampTime, 0);
    m_position = target; // sums of floating point may miss it by a hair
    return *this;
}

double MotPath::firstAcceleration() const {
    return m_pieces.empty() ? 0 : m_pieces.front().acceleration;
}

const MotPath::Piece* MotPath::pieceAt(double ms) const {
    if (ms >= m_duration) {
        return nullptr;
    }
    const auto after =
        std::upper_bound(m_pieces.begin(), m_pieces.end(), ms,
                         [](double time, const Piece& piece) { return time < piece.start; });
    return after == m_pieces.begin() ? nullptr : &*std::prev(after);
}

double MotPath::positionAt(double ms) const {
    if (ms <= 0 && !m_pieces.empty()) {
        return m_pieces.front().position;
    }
    const Piece* piece = pieceAt(ms);
    return piece ? piece->positionAt(ms) : m_position;
}

double MotPath::speedAt(double ms) const {
    const Piece* piece = pieceAt(ms);
    return piece ? piece->speed + piece->acceleration * (ms - piece->start) : 0;
}

// A piece doesn't turn back: the speeds within one have one sign.
std::optional<double> MotPath::timeOutside(double least, double most) const {
    const auto isOutside = [&](double position) { return position < least || position > most; };
    for (const Piece& piece : m_pieces) {
        double low = piece.start;
        double high = piece.start + piece.length;
        if (!std::isfinite(high) || !isOutside(piece.positionAt(high))) {
            continue;
        }
        for (int i = 0; i < 40; ++i) {
            const double middle = (low + high) / 2;
            (isOutside(piece.positionAt(middle)) ? high : low) = middle;
        }
        return high;
    }
    return std::nullopt;
}

} // namespace simulator
} // namespace fus
