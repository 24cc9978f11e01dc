#pragma once

#include "fus/MProtocol.h"

#include <cstdint>

namespace fus::mprotocol {

/// The commands of the mechanical board, by their position in the table. The library sends all but
/// `CMD_MOVE_TO_ZERO` and `CMD_ADD_POINT`.
enum MechCommand : std::uint32_t {
    CMD_PARAM_GET = 0,
    CMD_PARAM_SET = 1,
    CMD_STATUS = 2,
    CMD_LOG_GET = 3,
    CMD_STOP = 4,
    CMD_MOVE_DURATION = 5,
    CMD_MOVE_STEPS = 6,
    CMD_MOVE_TO_ZERO = 7,
    CMD_INIT = 8,
    CMD_MOVE_TO = 9,
    CMD_TRAJ_RESET = 10,
    CMD_TRAJ_SEND = 11,
    CMD_TRAJ_EXEC = 12,
    CMD_TRAJ_TRIG = 13,
    CMD_ADD_POINT = 14,
    UNKNOWN_MECH_CMD = 0x111111 ///< stands for an id that isn't in the table
};

struct MechCommandRow {
    MechCommand index;
    const char* name;
    std::uint16_t id;  ///< on the wire
    bool needsOrigins; ///< refused until the configuration is sent and the origins are known
    bool asynchronous; ///< the result comes later, in a packet of its own
};

inline constexpr MechCommandRow MECH_COMMANDS[] = {
    {CMD_PARAM_GET, "CMD_PARAM_GET", 0x1000, false, false},
    {CMD_PARAM_SET, "CMD_PARAM_SET", 0x1001, false, false},
    {CMD_STATUS, "CMD_STATUS", 0x100D, false, false},
    {CMD_LOG_GET, "CMD_LOG_GET", 0x100E, false, false},
    {CMD_STOP, "CMD_STOP", 0x100A, false, false},
    {CMD_MOVE_DURATION, "CMD_MOVE_DURATION", 0x1002, false, true},
    {CMD_MOVE_STEPS, "CMD_MOVE_STEPS", 0x1003, false, true},
    {CMD_MOVE_TO_ZERO, "CMD_MOVE_TO_ZERO", 0x1005, false, true},
    {CMD_INIT, "CMD_INIT", 0x1004, false, true},
    {CMD_MOVE_TO, "CMD_MOVE_TO", 0x100C, false, true},
    {CMD_TRAJ_RESET, "CMD_TRAJ_RESET", 0x100B, false, false},
    {CMD_TRAJ_SEND, "CMD_TRAJ_SEND", 0x1007, true, false},
    {CMD_TRAJ_EXEC, "CMD_TRAJ_EXEC", 0x1008, true, true},
    {CMD_TRAJ_TRIG, "CMD_TRAJ_TRIG", 0x1009, true, true},
    {CMD_ADD_POINT, "CMD_ADD_POINT", 0x1006, true, false}};

/// The row; `UNKNOWN_MECH_CMD` has one, too. Any other index outside the table throws `ERR_INDEX`.
const MechCommandRow& mechCommandFromIndex(std::uint32_t index);
/// `UNKNOWN_MECH_CMD` for an id that isn't in the table.
std::uint32_t mechCommandIndexFromId(std::uint16_t id) noexcept;
/// `ERR_INDEX` outside the table; here that goes for `UNKNOWN_MECH_CMD`, too.
bool isAsynchronousCommand(std::uint32_t index);
/// "UNKNOWN_MECH_CMD" for an id that isn't in the table, without a log line.
const char* mechCommandName(std::uint16_t id) noexcept;
/// Whether the board answers this command twice: when it has it, and when it is through with it.
bool hasSecondAnswer(std::uint16_t id) noexcept;

/// The text of an error of the mechanical board; null for a code that has none (above 34).
const char* mechErrorText(unsigned char code) noexcept;

} // namespace fus::mprotocol
