#pragma once

#include "fus/DefinitionCheck.h"
#include "fus/Export.h"

#include <vector>

namespace fus {

class FUS;

/// Compares the definitions that are loaded with what is connected, by asking alone: nothing is
/// set, sent or moved. To compare before anything of a definition is applied, connect first and
/// load it then: `FUS::connect` applies what is loaded.
///
/// Each difference is a finding without a line, with the section and the key of the definition
/// (`DefinitionCheck::lineOf` gives their line). An error is what the hardware is, or measures,
/// otherwise than the definition says; a warning what applying the definition would change, and
/// what it can't apply to this generator. What can't be asked for is an error with the reason. A
/// generator whose link breaks throws `ERR_NOT_CONNECTED` or `ERR_SOCKET_WRITE`, or `ERR_TIMEOUT`
/// if an answer was awaited.
///
/// Blocks until every question is answered, each for at most the default answer time-out. Not to be
/// called by what runs on the reader thread.
class FUS_API DefinitionComparison {
public:
    /// What `FUS::checkConfiguration` looks at, the power supplies, the clock, the back panel, and
    /// the thresholds of the boards. `ERR_NOT_CONNECTED`; `ERR_CONFIG` without a definition.
    static std::vector<DefinitionCheck::Finding> ofGenerator(FUS& fus);
    /// The mechanical board, its capacity, and what `Mechanics::sendConfig` looks at.
    /// `ERR_NOT_CONNECTED`; `ERR_MECH_NO_CONFIG` without a definition.
    static std::vector<DefinitionCheck::Finding> ofMechanics(FUS& fus);
};

} // namespace fus
