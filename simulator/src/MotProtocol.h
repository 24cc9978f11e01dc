// What the mechanical board's protocol is made of, as far as the simulator needs it.
#pragma once

#include "Refusal.h"

#include "fus/P_MProtocol.h"

#include <cstdint>

namespace fus {
namespace simulator {

// Commands, by their number on the wire.
constexpr unsigned MOT_PARAM_GET = mprotocol::MECH_COMMANDS[mprotocol::CMD_PARAM_GET].id;
constexpr unsigned MOT_PARAM_SET = mprotocol::MECH_COMMANDS[mprotocol::CMD_PARAM_SET].id;
constexpr unsigned MOT_STATUS = mprotocol::MECH_COMMANDS[mprotocol::CMD_STATUS].id;
constexpr unsigned MOT_LOG_GET = mprotocol::MECH_COMMANDS[mprotocol::CMD_LOG_GET].id;
constexpr unsigned MOT_STOP = mprotocol::MECH_COMMANDS[mprotocol::CMD_STOP].id;
constexpr unsigned MOT_MOVE_DURATION = mprotocol::MECH_COMMANDS[mprotocol::CMD_MOVE_DURATION].id;
constexpr unsigned MOT_MOVE_STEPS = mprotocol::MECH_COMMANDS[mprotocol::CMD_MOVE_STEPS].id;
constexpr unsigned MOT_INIT = mprotocol::MECH_COMMANDS[mprotocol::CMD_INIT].id;
constexpr unsigned MOT_MOVE_TO = mprotocol::MECH_COMMANDS[mprotocol::CMD_MOVE_TO].id;
constexpr unsigned MOT_TRAJ_RESET = mprotocol::MECH_COMMANDS[mprotocol::CMD_TRAJ_RESET].id;
constexpr unsigned MOT_TRAJ_SEND = mprotocol::MECH_COMMANDS[mprotocol::CMD_TRAJ_SEND].id;
constexpr unsigned MOT_TRAJ_EXEC = mprotocol::MECH_COMMANDS[mprotocol::CMD_TRAJ_EXEC].id;
constexpr unsigned MOT_TRAJ_TRIG = mprotocol::MECH_COMMANDS[mprotocol::CMD_TRAJ_TRIG].id;

// Error codes of the board.
enum MotError : unsigned {
    MOT_OK = 0,
    MOT_BLOCKED = 1,
    MOT_ENCODER_CABLE = 2,
    MOT_BAD_AXIS = 3,
    MOT_NOT_INITIALIZED = 4,
    MOT_BAD_SEARCH = 5,
    MOT_NO_REFERENCE = 6,
    MOT_NO_REFERENCE_2 = 7,
    MOT_RAW_STOPPED = 9,
    MOT_UNKNOWN_PARAMETER = 11,
    MOT_READ_ONLY = 12,
    MOT_BAD_VALUE = 13,
    MOT_MOTOR_CABLE = 14,
    MOT_NO_MOVE = 15,
    MOT_NULL_DURATION = 16,
    MOT_OUT_OF_BOUNDS = 17,
    MOT_UNREACHABLE = 18,
    MOT_FIRST_UNREACHABLE = 19,
    MOT_BUSY = 20,
    MOT_AT_REST = 21,
    MOT_NULL_COUNT = 22,
    MOT_TOO_MANY_MOVES = 23,
    MOT_STOPPED = 24,
    MOT_TOLERANCE = 25,
    MOT_TOO_FAST = 26,
    MOT_TARGET_TOLERANCE = 27,
    MOT_EMPTY_LOG = 28,
    MOT_BAD_LOG_INDEX = 29,
    MOT_BUSY_COMMAND = 31,
    MOT_BAD_TRIGGER_MODE = 32,
    MOT_STOPPED_BY_UPB = 33,
    MOT_BAD_INVERSION = 34
};

// Board parameter: the version of this protocol. It can't be written.
constexpr unsigned MOT_PROTOCOL_PARAMETER = 3600;

// Codes of a result that say nothing of the error itself.
constexpr std::uint32_t MOT_ASK_STATUS = 0x220000FF;
constexpr std::uint32_t MOT_USER_STOP = 0x38030000;
// The generator's, when a board takes longer than its command's time.
constexpr std::uint32_t BOARD_TIMEOUT = 0x12000000;

constexpr std::uint32_t motCode(unsigned error, unsigned axis = 0, unsigned argument = 0) {
    return 0x20000000U | (error & 0xFFU) << 16 | (axis & 0xFFU) << 8 | (argument & 0xFFU);
}

inline const char* motText(unsigned error) {
    const char* text = mprotocol::mechErrorText(static_cast<unsigned char>(error));
    return text ? text : "Unknown error";
}

[[noreturn]] inline void refuseMot(unsigned error, unsigned axis = 0, unsigned argument = 0) {
    refuse(motCode(error, axis, argument), 0, "%s", motText(error));
}

} // namespace simulator
} // namespace fus
