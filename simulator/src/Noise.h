#pragma once

#include <cstdint>

namespace fus {
namespace simulator {

// A small generator of random numbers whose sequence is the same on every platform.
class Noise {
public:
    explicit Noise(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        m_state += 0x9E3779B97F4A7C15U;
        std::uint64_t z = m_state;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31);
    }
    // In [-1, 1).
    double unit() { return static_cast<double>(next() >> 11) * (1.0 / 4503599627370496.0) - 1.0; }

private:
    std::uint64_t m_state;
};

// One seed out of several numbers.
inline std::uint64_t mixedSeed(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    const std::uint64_t first = Noise(a).next();
    const std::uint64_t second = Noise(first ^ b).next();
    return Noise(second ^ c).next();
}

} // namespace simulator
} // namespace fus
