// The simulator's sections on the mechanical board.
#pragma once

#include "fussim/Mechanics.h"

#include "fus/P_Config.h"

namespace fus {
namespace simulator {

// Three axes of the standard kind where nothing is said of them. Throws DescriptionError.
void describeMechanics(const Config& ini, MechanicsDescription& result);

} // namespace simulator
} // namespace fus
