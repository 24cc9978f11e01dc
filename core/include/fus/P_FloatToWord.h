#pragma once

#include <cstdint>

namespace fus {

/// A float as it goes to the generator as an integer: cut toward zero, negative values as two's
/// complement. What 32 bits can't hold, NaN and infinity among it, is 0.
inline std::uint32_t floatToWord(float value) {
    constexpr float LIMIT = 4294967296.0F;
    if (!(value >= -LIMIT / 2 && value < LIMIT)) {
        return 0;
    }
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

} // namespace fus
