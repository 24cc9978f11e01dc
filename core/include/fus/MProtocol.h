#pragma once

#include "fus/Export.h"

#include <cstdint>

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

/// A variable of an axis on the mechanical board. Those with `R_` are read-only.
enum MechParam : std::uint32_t {
    PARAM_R_ENCODER_POS = 0,     ///< encoder counter [step]
    PARAM_ORIGIN_FOUND = 1,      ///< set by a search that succeeded; only the user resets it
    PARAM_R_ORIGIN_POS = 2,      ///< [step], 0: not found
    PARAM_R_ORIGIN2_POS = 3,     ///< [step], 0: not found, or there is none
    PARAM_INVERTED = 4,          ///< a DAC value above 127 makes the encoder count down
    PARAM_KP = 5,                ///< of the PID; so the next three
    PARAM_KI = 6,                ///<
    PARAM_KD = 7,                ///<
    PARAM_MAX_INT_ERROR = 8,     ///<
    PARAM_ZERO_COUNT = 9,        ///< optical references
    PARAM_MAX_SPEED = 10,        ///< [step/ms]
    PARAM_DAC_MIN_NEG = 11,      ///< weakest DAC value that moves, negative speed
    PARAM_DAC_MIN_POS = 12,      ///< the same, positive speed
    PARAM_TOLERANCE_MOVING = 13, ///< [step]
    PARAM_TOLERANCE_TARGET = 14, ///< [step]
    PARAM_UPPER_BOUND = 15,      ///< [step], relative to the origin
    PARAM_LOWER_BOUND = 16,      ///< [step], relative to the origin
    PARAM_R_LAST_ACCEL = 17,     ///< of the last controlled move [step/ms^2]
    PARAM_PLOT_MODE = 18,        ///< debugging aid of the board
    PARAM_R_TRAJ_SIZE = 19,      ///< moves in the board's buffer
    PARAM_R_LAST_ASYNC_ERROR = 20,
    PARAM_R_MOTOR_DETECTED = 21,
    PARAM_ACCEL_DURATION = 22,    ///< [ms], one value for all axes
    PARAM_R_MAX_AXIS_COUNT = 23,  ///< axes that the board supports
    PARAM_R_TRAJ_MAXSIZE = 24,    ///< moves that the board's buffer holds for an axis
    PARAM_R_LOG_SIZE = 25,        ///< lines of the board's history
    PARAM_ABS_ENABLED = 26,       ///< blocked axes are detected, in moves without feedback
    PARAM_ENCODER_DETECTION = 27, ///< half unplugged encoders are detected, in such moves
    PARAM_R_INIT_DAC_USED = 28    ///< last DAC value of the last search
};

/// What a parameter holds. On the wire each takes 32 bits.
enum class MechParamType { BOOL, INT8, UINT8, INT32, UINT32, FLOAT };

struct MechResultRow {
    MechResult value;
    const char* shortName; ///< under which scripts know it
    const char* text;
};

struct MechParamRow {
    MechParam value;
    const char* name;
    MechParamType type;

    /// Under which scripts know it: without "PARAM_".
    constexpr const char* shortName() const { return name + 6; }
    constexpr bool readOnly() const { return name[6] == 'R' && name[7] == '_'; }
};

// The tables: name functions, bindings and simulator read these rows. The position is the value.

inline constexpr MechResultRow MECH_RESULTS[] = {
    {OK, "OK", "Displacement (or init) successfully executed"},
    {USER_STOP, "USER_STOP", "Displacement canceled explicitly"},
    {ERROR_NOT_CONNECTED, "ERROR_NOT_CONNECTED", "Not connected to the hardware"},
    {ERROR_NO_CONFIG, "ERROR_NO_CONFIG",
     "No mechanical configuration loaded or sent to the board yet"},
    {ERROR_COMM, "ERROR_COMM", "Internal communication error (generator/mechanical board)"},
    {ERROR_TIMEOUT, "ERROR_TIMEOUT", "Timeout error during communication or motion"},
    {ERROR_MOTION, "ERROR_MOTION", "Mechanical motion error (see hardware code for details)"},
    {ERROR_INTERNAL, "ERROR_INTERNAL", "Unexpected internal error (no detail, sorry)"}};

#define FUS_MECH_PARAM(param, type) \
    { param, #param, MechParamType::type }

inline constexpr MechParamRow MECH_PARAMS[] = {FUS_MECH_PARAM(PARAM_R_ENCODER_POS, UINT32),
                                               FUS_MECH_PARAM(PARAM_ORIGIN_FOUND, BOOL),
                                               FUS_MECH_PARAM(PARAM_R_ORIGIN_POS, UINT32),
                                               FUS_MECH_PARAM(PARAM_R_ORIGIN2_POS, UINT32),
                                               FUS_MECH_PARAM(PARAM_INVERTED, BOOL),
                                               FUS_MECH_PARAM(PARAM_KP, FLOAT),
                                               FUS_MECH_PARAM(PARAM_KI, FLOAT),
                                               FUS_MECH_PARAM(PARAM_KD, FLOAT),
                                               FUS_MECH_PARAM(PARAM_MAX_INT_ERROR, FLOAT),
                                               FUS_MECH_PARAM(PARAM_ZERO_COUNT, UINT8),
                                               FUS_MECH_PARAM(PARAM_MAX_SPEED, UINT32),
                                               FUS_MECH_PARAM(PARAM_DAC_MIN_NEG, UINT8),
                                               FUS_MECH_PARAM(PARAM_DAC_MIN_POS, UINT8),
                                               FUS_MECH_PARAM(PARAM_TOLERANCE_MOVING, UINT8),
                                               FUS_MECH_PARAM(PARAM_TOLERANCE_TARGET, UINT8),
                                               FUS_MECH_PARAM(PARAM_UPPER_BOUND, INT32),
                                               FUS_MECH_PARAM(PARAM_LOWER_BOUND, INT32),
                                               FUS_MECH_PARAM(PARAM_R_LAST_ACCEL, FLOAT),
                                               FUS_MECH_PARAM(PARAM_PLOT_MODE, UINT8),
                                               FUS_MECH_PARAM(PARAM_R_TRAJ_SIZE, UINT8),
                                               FUS_MECH_PARAM(PARAM_R_LAST_ASYNC_ERROR, INT8),
                                               FUS_MECH_PARAM(PARAM_R_MOTOR_DETECTED, BOOL),
                                               FUS_MECH_PARAM(PARAM_ACCEL_DURATION, UINT8),
                                               FUS_MECH_PARAM(PARAM_R_MAX_AXIS_COUNT, UINT8),
                                               FUS_MECH_PARAM(PARAM_R_TRAJ_MAXSIZE, UINT8),
                                               FUS_MECH_PARAM(PARAM_R_LOG_SIZE, UINT8),
                                               FUS_MECH_PARAM(PARAM_ABS_ENABLED, BOOL),
                                               FUS_MECH_PARAM(PARAM_ENCODER_DETECTION, BOOL),
                                               FUS_MECH_PARAM(PARAM_R_INIT_DAC_USED, UINT8)};

#undef FUS_MECH_PARAM

/// The English text; any value above 7 gives "Unknown mechanical result". Never null.
FUS_API const char* mechResultMessage(MechResult result) noexcept;

/// "PARAM_KP" ...; an unknown value is logged at ERROR and gives "?MPARAM?". Never null.
FUS_API const char* parameterName(MechParam param);

} // namespace fus::mprotocol
