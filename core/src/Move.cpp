#include "fus/Move.h"

#include "fus/P_LogMacros.h"

namespace fus {

Move::Move(int position, unsigned delay) : m_position(position) {
    setDelay(delay);
}

void Move::setDelay(unsigned delay) {
    if (delay > MAX_DELAY) {
        FUS_LOG(ERROR, "Invalid delay for Move (%u), truncated to 65535.", delay);
        delay = MAX_DELAY;
    }
    m_delay = static_cast<std::uint16_t>(delay);
}

} // namespace fus
