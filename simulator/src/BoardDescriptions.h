// The boards of a description: from the text that is sent, and from the simulator's sections.
#pragma once

#include "fussim/Description.h"

#include "fus/P_Config.h"
#include "fus/P_GeneratorConfig.h"

namespace fus {
namespace simulator {

// "UPB", "SNT", "AMP" or "MOT".
const char* boardTypeName(unsigned hwid);

// Throws DescriptionError. Needs the protocol's number.
void describeBoards(const Config& ini, const GeneratorConfig& config, Description& result);

// Which boards and channels are in use, by what a text says of the same boards.
void applyWiring(const GeneratorConfig& config, const Wiring& wiring, Description& result);

} // namespace simulator
} // namespace fus
