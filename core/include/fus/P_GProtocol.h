#pragma once

#include "fus/GProtocol.h"

#include <atomic>
#include <cstdint>

namespace fus::gprotocol {

/// The default answer time-out of the process [ms], as `FUS::setDefaultAnswerTimeout` rounds it.
extern std::atomic<unsigned> g_defaultAnswerTimeout;

// Every packet starts with its whole size (32 bits), the id that ties an answer to its command
// (32 bits) and its type (16 bits), all big-endian.

inline constexpr std::uint32_t PACKET_HEADER_SIZE = 10;
/// Limits of the size that a received packet may declare, header included.
inline constexpr std::uint32_t PACKET_MIN_SIZE = PACKET_HEADER_SIZE;
inline constexpr std::uint32_t PACKET_MAX_SIZE = 8192;

/// Commands, from the library to the generator.
enum Command : std::uint16_t {
    CMD_TRAJ_SEND_V2 = 1102,
    CMD_TRAJ_EXEC_V2 = 1103,
    CMD_REBOOT = 1109,
    CMD_CLOSE = 1112,
    CMD_TRAJ_STOP = 1113,
    CMD_PARAM_GET = 1115,
    CMD_PARAM_SET = 1116,
    CMD_TRIGGER_PULSE = 1119,
    CMD_WAIT = 1120,
    CMD_SEND_HEARTBEAT = 1121,
    CMD_TRAJ_SEND_V3 = 1122,
    CMD_TRAJ_EXEC_V3 = 1123,
    CMD_BOARD_CMD = 1307,
    CMD_SYSTEM_STATE = 1308,
    CMD_CHANNEL_STATE = 1309,
    CMD_BACKPANEL_CONFIG = 1311,
    CMD_AMPLIFIER_POWER_SUPPLY = 1312
};

/// Answers, from the generator to the library. Those with a command's number answer that command.
enum Answer : std::uint16_t {
    ANSWER_ANY = 0, ///< never on the wire: the filter that lets any type pass
    ANSWER_PARAM = 1115,
    ANSWER_BOARD_ASYNC = 1207,
    ANSWER_OK = 1301,
    ANSWER_ERROR = 1302,
    ANSWER_ERROR_MSG = 1303, ///< protocol V2
    ANSWER_EXEC_ASYNC = 1304,
    ANSWER_BOARD = 1307,
    ANSWER_SYSTEM_STATE = 1308,
    ANSWER_CHANNEL_STATE = 1309,
    ANSWER_ERROR_MSGV3 = 1310, ///< protocol V3
    ANSWER_BACKPANEL = 1311
};

/// What CMD_BACKPANEL_CONFIG is to do, at the head of its payload (32 bits).
enum BackPanelCommand : std::uint32_t {
    BKP_CMD_READ = 0x9DC0178D,
    BKP_CMD_SET = 0x9DC0178E,
    BKP_CMD_CLEAR = 0x9DC0178F ///< the FLASH
};

/// Most channels that a configuration of the back panel tells.
inline constexpr std::uint32_t BKP_MAX_CHANNELS = 4096;

/// Board commands that all boards understand; those of a mechanical board come on top.
enum BoardCommand : std::uint16_t {
    CMD_BOARD_VERSION = 70,
    CMD_BOARD_CRC_DATE = 73,
    CMD_BOARD_MEASURES = 74,
    CMD_BOARD_PARAM_SET = 92,
    CMD_BOARD_PARAM_GET = 93
};

/// What installers call the types of boards, by BoardType.
inline constexpr const char* BOARD_SHORT_NAMES[BOARD_TYPE_COUNT] = {"UPB", "SNT", "AMP", "MOT"};

/// Result field of a board's answer; a success that carries data repeats the command's number.
enum BoardResult : std::uint16_t {
    BOARD_RESULT_NO = 78, ///< the letter N: the board refused
    BOARD_RESULT_YES = 89 ///< the letter Y: success without data
};

/// One row of a table of wire numbers. A row stands for `count` numbers from `value` on.
struct WireRow {
    std::uint16_t value;
    const char* name;
    std::uint16_t count = 1;
};

#define FUS_WIRE_ROW(enumerator) \
    { enumerator, #enumerator }

inline constexpr WireRow COMMANDS[] = {FUS_WIRE_ROW(CMD_TRAJ_SEND_V2),
                                       FUS_WIRE_ROW(CMD_TRAJ_EXEC_V2),
                                       FUS_WIRE_ROW(CMD_REBOOT),
                                       FUS_WIRE_ROW(CMD_CLOSE),
                                       FUS_WIRE_ROW(CMD_TRAJ_STOP),
                                       FUS_WIRE_ROW(CMD_PARAM_GET),
                                       FUS_WIRE_ROW(CMD_PARAM_SET),
                                       FUS_WIRE_ROW(CMD_TRIGGER_PULSE),
                                       FUS_WIRE_ROW(CMD_WAIT),
                                       FUS_WIRE_ROW(CMD_SEND_HEARTBEAT),
                                       FUS_WIRE_ROW(CMD_TRAJ_SEND_V3),
                                       FUS_WIRE_ROW(CMD_TRAJ_EXEC_V3),
                                       FUS_WIRE_ROW(CMD_BOARD_CMD),
                                       FUS_WIRE_ROW(CMD_SYSTEM_STATE),
                                       FUS_WIRE_ROW(CMD_CHANNEL_STATE),
                                       FUS_WIRE_ROW(CMD_BACKPANEL_CONFIG),
                                       FUS_WIRE_ROW(CMD_AMPLIFIER_POWER_SUPPLY)};

inline constexpr WireRow ANSWERS[] = {
    FUS_WIRE_ROW(ANSWER_ANY),          FUS_WIRE_ROW(ANSWER_PARAM),
    FUS_WIRE_ROW(ANSWER_BOARD_ASYNC),  FUS_WIRE_ROW(ANSWER_OK),
    FUS_WIRE_ROW(ANSWER_ERROR),        FUS_WIRE_ROW(ANSWER_ERROR_MSG),
    FUS_WIRE_ROW(ANSWER_EXEC_ASYNC),   FUS_WIRE_ROW(ANSWER_BOARD),
    FUS_WIRE_ROW(ANSWER_SYSTEM_STATE), FUS_WIRE_ROW(ANSWER_CHANNEL_STATE),
    FUS_WIRE_ROW(ANSWER_ERROR_MSGV3),  FUS_WIRE_ROW(ANSWER_BACKPANEL)};

inline constexpr WireRow BOARD_COMMANDS[] = {
    FUS_WIRE_ROW(CMD_BOARD_VERSION), FUS_WIRE_ROW(CMD_BOARD_CRC_DATE),
    FUS_WIRE_ROW(CMD_BOARD_MEASURES), FUS_WIRE_ROW(CMD_BOARD_PARAM_SET),
    FUS_WIRE_ROW(CMD_BOARD_PARAM_GET)};

inline constexpr WireRow BOARD_PARAMS[] = {
    FUS_WIRE_ROW(BPARAM_UPB_MAX_ASYNC_TIMEOUT),
    FUS_WIRE_ROW(BPARAM_UPB_RAMP_START_TIME),
    FUS_WIRE_ROW(BPARAM_UPB_RAMP_END_TIME),
    FUS_WIRE_ROW(BPARAM_UPB_CLOCK_FREQUENCY),
    FUS_WIRE_ROW(BPARAM_UPB_SHOOTING_TOLERANCE),
    FUS_WIRE_ROW(BPARAM_UPB_TOTAL_SHOT_TOLERANCE),
    FUS_WIRE_ROW(BPARAM_UPB_MAX_Iout_Prev),
    FUS_WIRE_ROW(BPARAM_UPB_EXEC_HEARTBEAT_TIMEOUT),
    FUS_WIRE_ROW(BPARAM_UPB_TRAJ_CHECKS),
    FUS_WIRE_ROW(BPARAM_UPB_MAX_AMPLITUDE),
    FUS_WIRE_ROW(BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL),
    FUS_WIRE_ROW(BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_QUICK),
    FUS_WIRE_ROW(BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_REPEAT),
    FUS_WIRE_ROW(BPARAM_UPB_MAX_SHOOTING_DURATION),
    FUS_WIRE_ROW(BPARAM_UPB_MAX_TOTAL_SHOT_DURATION),
    FUS_WIRE_ROW(BPARAM_UPB_MAX_TRAJ_REPEAT_DELAY),
    FUS_WIRE_ROW(BPARAM_UPB_MAX_RAMP_TIME),
    FUS_WIRE_ROW(BPARAM_UPB_PERIPH_POWER_SUPPLY),
    FUS_WIRE_ROW(BPARAM_UPB_PERIPH_MASTER_DDS),
    FUS_WIRE_ROW(BPARAM_UPB_PERIPH_SLAVE_RESET),
    FUS_WIRE_ROW(BPARAM_UPB_PERIPH_FANS),
    FUS_WIRE_ROW(BPARAM_UPB_MOT_SYNC_MASK),
    {BPARAM_ALL_BO_MIN, "BPARAM_ALL_BO_MIN", BPARAM_MEASURE_RANGE},
    {BPARAM_ALL_BO_MAX, "BPARAM_ALL_BO_MAX", BPARAM_MEASURE_RANGE},
    FUS_WIRE_ROW(BPARAM_UPB_MAX_SHOTS_COMPOSITE),
    FUS_WIRE_ROW(BPARAM_UPB_MIN_SHOOTING_DURATION_SHOT0_COMPOSITE),
    FUS_WIRE_ROW(BPARAM_UPB_MIN_SHOOTING_DURATION_ALL_COMPOSITE),
    FUS_WIRE_ROW(BPARAM_UPB_MAX_SHOOTING_DURATION_COMPOSITE),
    FUS_WIRE_ROW(BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_COMPOSITE),
    FUS_WIRE_ROW(BPARAM_UPB_MIN_REPEAT_SHOT_DELAY_NOTRIG),
    FUS_WIRE_ROW(BPARAM_ALL_HW_VERSION),
    FUS_WIRE_ROW(BPARAM_ALL_HW_ADDRESS),
    FUS_WIRE_ROW(BPARAM_ALL_SECTOR_SIZE),
    FUS_WIRE_ROW(BPARAM_ALL_SECTOR_TIME),
    FUS_WIRE_ROW(BPARAM_ALL_UID),
    FUS_WIRE_ROW(BPARAM_ALL_CRC),
    FUS_WIRE_ROW(BPARAM_ALL_BOARD_SW_nRESET)};

#undef FUS_WIRE_ROW

// As with the public ones: never null, an unknown value is logged at ERROR and gives the marker.

/// "CMD_TRAJ_STOP" ...; "?CMD?".
const char* commandName(int command);
/// "ANSWER_OK" ...; "?ANSWER?".
const char* answerName(int answer);
/// "BPARAM_ALL_UID" ...; "?BPARAM?".
const char* boardParameterName(int param);
/// A command common to all boards, else a mechanical command for HWID_MECHANICS. What is in neither
/// table has an "UNKNOWN_..." name by type of board, without a log line; another hardware id is
/// logged and gives "?BCMD?".
const char* boardCommandName(std::uint32_t hwid, int command);

/// True for a type that no packet of the generator may have; ANSWER_ANY is one of these.
bool isUnknownAnswer(int type);

} // namespace fus::gprotocol
