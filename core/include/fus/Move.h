#pragma once

#include "fus/Export.h"

#include <cstdint>

namespace fus {

/// A position of an axis and the time to reach it from the one before. A plain value.
class FUS_API Move {
public:
    /// The longest delay [ms].
    static constexpr unsigned MAX_DELAY = 65535;

    /// @param position relative to the origin [step]
    /// @param delay    as of `setDelay`
    Move(int position, unsigned delay);

    int position() const { return m_position; }
    void setPosition(int position) { m_position = position; }

    /// [ms]
    unsigned delay() const { return m_delay; }
    /// [ms] A greater value than `MAX_DELAY` is logged at ERROR and cut to it.
    void setDelay(unsigned delay);

private:
    std::int32_t m_position;
    std::uint16_t m_delay = 0;
};

inline bool operator==(const Move& a, const Move& b) {
    return a.position() == b.position() && a.delay() == b.delay();
}
inline bool operator!=(const Move& a, const Move& b) {
    return !(a == b);
}

} // namespace fus
