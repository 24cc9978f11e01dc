// The variables that the mechanical board keeps for each axis.
#pragma once

#include "MotProtocol.h"

#include <cstdint>
#include <iterator>

namespace fus {
namespace simulator {

constexpr unsigned MOT_PARAMETER_COUNT = std::size(mprotocol::MECH_PARAMS);

// Null for a number that the board doesn't know.
const mprotocol::MechParamRow* findMotParameter(unsigned id);
// Of a board that nobody has configured yet.
double initialMotValue(unsigned id);
// One value for all axes.
bool isSharedMotParameter(unsigned id);
// As it is on the wire.
std::uint32_t motRaw(const mprotocol::MechParamRow& row, double value);
float motFloat(std::uint32_t raw);
// Whether a client may write this.
bool isValidMotValue(const mprotocol::MechParamRow& row, std::uint32_t raw);

} // namespace simulator
} // namespace fus
