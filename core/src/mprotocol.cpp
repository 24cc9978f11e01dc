#include "fus/P_MProtocol.h"

#include <cstddef>
#include <iterator>

namespace fus::mprotocol {

namespace {

// The position in these tables is the value.

constexpr const char* RESULT_TEXTS[] = {
    "Displacement (or init) successfully executed",
    "Displacement canceled explicitly",
    "Not connected to the hardware",
    "No mechanical configuration loaded or sent to the board yet",
    "Internal communication error (generator/mechanical board)",
    "Timeout error during communication or motion",
    "Mechanical motion error (see hardware code for details)",
    "Unexpected internal error (no detail, sorry)",
};

constexpr const char* ERROR_TEXTS[] = {
    "Ok",
    "Axis blocked by the ABS system",
    "Encoder not connected correctly (one or more Z1/Z2 signals seem disconnected)",
    "Invalid axis identifier",
    "Axis not initialized",
    "Invalid initialization parameters",
    "No optical reference found",
    "Second optical reference not found",
    "Missing zero during init but shadow zero detected",
    "Raw motion stopped by the user",
    "Axis calibration failed due to internal error",
    "Unknown GET/SET parameter",
    "Read-only GET/SET parameter",
    "Invalid value for this GET/SET parameter",
    "The motor has been disconnected",
    "No more Move available in trajectory",
    "Null duration for Move in trajectory",
    "Out-of-bounds position requested",
    "Position unreachable within the given time in trajectory",
    "First point is not reachable from the last one (repeated trajectory)",
    "Mechanical system busy (ongoing displacement)",
    "No ongoing displacement",
    "Invalid execution count (0)",
    "Too many Moves in the trajectory",
    "Displacement stopped by the user",
    "Position tolerance exceeded during a displacement",
    "The required speed is too high",
    "Target tolerance exceeded during a displacement",
    "Empty mechanical log",
    "Invalid mechanical log index",
    "Motion stopped by the HDMI com watchdog",
    "System is busy (currently executing a command)",
    "Unknown mechanical trigger mode",
    "The mechanical system was stopped directly by UPB",
    "Invalid configuration of axis inversion",
};

static_assert(std::size(RESULT_TEXTS) == ERROR_INTERNAL + 1U, "a text for every result");
static_assert(std::size(ERROR_TEXTS) == 35, "a text for every error");

} // namespace

const char* mechResultMessage(MechResult result) noexcept {
    const size_t index = result;
    return index < std::size(RESULT_TEXTS) ? RESULT_TEXTS[index] : "Unknown mechanical result";
}

const char* mechErrorText(unsigned char code) noexcept {
    return code < std::size(ERROR_TEXTS) ? ERROR_TEXTS[code] : nullptr;
}

} // namespace fus::mprotocol
