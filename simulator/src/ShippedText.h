#pragma once

namespace fus {
namespace simulator {

// The texts of simulator/descriptions, built in.
extern const char* const SHIPPED_2_5;
extern const char* const SHIPPED_3_0;
extern const char* const SHIPPED_3_1;

} // namespace simulator
} // namespace fus
