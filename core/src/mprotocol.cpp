#include "fus/P_MProtocol.h"

#include "fus/P_LogMacros.h"

#include <cstddef>
#include <iterator>

namespace fus::mprotocol {

namespace {

// The position is the code.
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

static_assert(std::size(ERROR_TEXTS) == 35, "a text for every error");

constexpr std::uint32_t COMMAND_COUNT = std::size(MECH_COMMANDS);
constexpr MechCommandRow UNKNOWN_COMMAND = {UNKNOWN_MECH_CMD, "UNKNOWN_MECH_CMD", 0, false, false};

/// Whether each row stands at the position that its value says.
template <class Row, std::size_t N, class Value>
constexpr bool inOrder(const Row (&rows)[N], Value Row::*value) {
    for (std::size_t i = 0; i < N; ++i) {
        if (rows[i].*value != i) {
            return false;
        }
    }
    return true;
}
static_assert(inOrder(MECH_RESULTS, &MechResultRow::value));
static_assert(inOrder(MECH_PARAMS, &MechParamRow::value));
static_assert(inOrder(MECH_COMMANDS, &MechCommandRow::index));

} // namespace

const char* mechResultMessage(MechResult result) noexcept {
    const std::uint32_t index = result;
    return index < std::size(MECH_RESULTS) ? MECH_RESULTS[index].text : "Unknown mechanical result";
}

const char* parameterName(MechParam param) {
    const std::uint32_t index = param;
    if (index >= std::size(MECH_PARAMS)) {
        FUS_LOG(ERROR, "Unknown mechanical parameter %d", static_cast<int>(index));
        return "?MPARAM?";
    }
    return MECH_PARAMS[index].name;
}

const MechCommandRow& mechCommandFromIndex(std::uint32_t index) {
    if (index == UNKNOWN_MECH_CMD) {
        return UNKNOWN_COMMAND;
    }
    if (index >= COMMAND_COUNT) {
        FUS_THROW_INDEX("mech cmd", index, COMMAND_COUNT);
    }
    return MECH_COMMANDS[index];
}

std::uint32_t mechCommandIndexFromId(std::uint16_t id) noexcept {
    for (const MechCommandRow& row : MECH_COMMANDS) {
        if (row.id == id) {
            return row.index;
        }
    }
    return UNKNOWN_MECH_CMD;
}

bool isAsynchronousCommand(std::uint32_t index) {
    if (index >= COMMAND_COUNT) {
        FUS_THROW_INDEX("mech cmd", index, COMMAND_COUNT);
    }
    return MECH_COMMANDS[index].asynchronous;
}

const char* mechCommandName(std::uint16_t id) noexcept {
    const std::uint32_t index = mechCommandIndexFromId(id);
    return index == UNKNOWN_MECH_CMD ? UNKNOWN_COMMAND.name : MECH_COMMANDS[index].name;
}

bool hasSecondAnswer(std::uint16_t id) noexcept {
    return id == MECH_COMMANDS[CMD_INIT].id || id == MECH_COMMANDS[CMD_TRAJ_SEND].id;
}

const char* mechErrorText(unsigned char code) noexcept {
    return code < std::size(ERROR_TEXTS) ? ERROR_TEXTS[code] : nullptr;
}

} // namespace fus::mprotocol
