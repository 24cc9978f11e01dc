// One axis: its motor, its encoder, and what the board knows of it.
#pragma once

#include "FaultBook.h"
#include "MotParameters.h"

#include "fussim/Mechanics.h"

#include <array>
#include <deque>
#include <optional>
#include <string>

namespace fus {
namespace simulator {

// What faults do to an axis.
struct AxisTrouble {
    bool isMotorOut = false;
    bool isEncoderOut = false;
    bool isBlocked = false;
    std::optional<double> blockAt; // [steps]
    bool lacksReference = false;
    bool lacksReference2 = false;
    std::optional<double> slipAfter; // [milliseconds] of a guided motion
    bool missesTarget = false;
};

AxisTrouble troubleOf(const FaultBook& faults, unsigned axis);

struct AxisRange {
    double low;
    double high;
};

class MotAxis {
public:
    MotAxis(unsigned index, const MechanicsDescription& board);

    unsigned index() const { return m_index; }
    const AxisDescription& description() const { return *m_description; }

    std::uint32_t value(unsigned id) const { return m_values[id]; }
    std::int32_t signedValue(unsigned id) const { return static_cast<std::int32_t>(value(id)); }
    bool flag(unsigned id) const { return value(id) != 0; }
    void setValue(unsigned id, std::uint32_t raw) { m_values[id] = raw; }
    void clearOrigin();
    bool isOriginFound() const { return flag(mprotocol::PARAM_ORIGIN_FOUND); }
    // From the origin. Only while it is known.
    bool isWithinBounds(std::uint32_t absolute) const;

    // [steps per millisecond], below 0 when the encoder counts down; 0 where it doesn't move.
    double speedAt(unsigned dac) const;
    // Where it can go from here.
    AxisRange reach(const AxisTrouble& trouble) const;

    void note(const std::string& line);
    const std::deque<std::string>& log() const { return m_log; }

    double position; // [steps], while at rest

private:
    unsigned m_index;
    const AxisDescription* m_description;
    std::size_t m_logLines;
    std::array<std::uint32_t, MOT_PARAMETER_COUNT> m_values{};
    std::deque<std::string> m_log;
};

} // namespace simulator
} // namespace fus
