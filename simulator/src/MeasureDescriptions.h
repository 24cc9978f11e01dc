// What boards and channels measure, from the generator's text and the simulator's sections.
#pragma once

#include "fussim/Description.h"

#include "fus/P_Config.h"
#include "fus/P_GeneratorConfig.h"

#include <string>

namespace fus {
namespace simulator {

// All throw a DescriptionError. `type` is the board's, "UPB", "AMP" ...
BoardMeasureDescription describeBoardMeasure(const Config& ini, const std::string& type,
                                             std::size_t position, const PrivateMeasure& source);
ChannelMeasureDescription describeChannelMeasure(const Config& ini, std::size_t position,
                                                 const PrivateMeasure& source);
// What the amplifiers of protocol 2 measure: their number is all that its text says.
void describeV2Measures(const Config& ini, const GeneratorConfig& config, Description& result);

} // namespace simulator
} // namespace fus
