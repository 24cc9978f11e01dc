// The boards of a description: from the text that is sent, and from the simulator's sections.
#pragma once

#include "fussim/Description.h"

#include "fus/P_Config.h"
#include "fus/P_GeneratorConfig.h"

namespace fus {
namespace simulator {

// "UPB", "SNT", "AMP" or "MOT".
const char* boardTypeName(unsigned hwid);

// Needs the protocol's and the channels' number. Throws DescriptionError.
void describeBoards(const Config& ini, const GeneratorConfig& config, Description& result);

} // namespace simulator
} // namespace fus
