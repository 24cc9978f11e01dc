#pragma once

#include "fus/GProtocol.h"

namespace fus {

class GeneratorConfig;

/// What a generator allows in an execution mode, by its description. A mode outside 0..3 throws
/// ERR_ARGUMENT. Durations and delays in microseconds.
namespace limits {

unsigned minShootingDuration(const GeneratorConfig& config, gprotocol::ElecExecMode mode);
/// 0: the mode is not available.
unsigned maxShootingDuration(const GeneratorConfig& config, gprotocol::ElecExecMode mode);
/// `flags` are `EXEC_FLAG_*` bits.
unsigned minTotalShotDuration(const GeneratorConfig& config, gprotocol::ElecExecMode mode,
                              unsigned flags);
unsigned maxTotalShotDuration(const GeneratorConfig& config, gprotocol::ElecExecMode mode);
unsigned maxTrajectoryDelay(const GeneratorConfig& config, gprotocol::ElecExecMode mode);
/// In shots.
unsigned maxTrajectorySize(const GeneratorConfig& config, gprotocol::ElecExecMode mode);

} // namespace limits
} // namespace fus
