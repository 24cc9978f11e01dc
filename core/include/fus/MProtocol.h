#pragma once

#include "fus/Export.h"

namespace fus::mprotocol {

/// How a mechanical operation ended.
enum MechResult : unsigned {
    OK = 0,
    USER_STOP = 1,
    ERROR_NOT_CONNECTED = 2,
    ERROR_NO_CONFIG = 3,
    ERROR_COMM = 4,
    ERROR_TIMEOUT = 5,
    ERROR_MOTION = 6,
    ERROR_INTERNAL = 7
};

/// The English text; any value above 7 gives "Unknown mechanical result". Never null.
FUS_API const char* mechResultMessage(MechResult result) noexcept;

} // namespace fus::mprotocol
