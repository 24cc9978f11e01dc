#pragma once

#include "fus/Export.h"

#include <cstdint>

namespace fus {

/// Time-outs with a meaning of their own, wherever one for an answer is given [ms].
inline constexpr unsigned TIMEOUT_DEFAULT = 0x0FFFFFFE;  ///< `FUS::getDefaultAnswerTimeout()`
inline constexpr unsigned TIMEOUT_INFINITE = 0x0FFFFFFF; ///< without limit

} // namespace fus

namespace fus::gprotocol {

/// One row of a vocabulary table: an enumerator's number, its full name as log lines show it (null
/// where it has none), and the short name under which scripts know it.
struct EnumRow {
    std::uint32_t value;
    const char* name;
    const char* shortName;
};

/// Types of internal circuit boards, as the public interface counts them.
enum BoardType : std::uint32_t {
    BOARD_PROCESSOR = 0,   ///< UPB
    BOARD_SYNTHESIZER = 1, ///< SNT
    BOARD_AMPLIFIER = 2,   ///< AMP
    BOARD_MECHANICS = 3    ///< MOT
};

inline constexpr std::uint32_t BOARD_TYPE_COUNT = 4;

/// Board types as they travel on the wire.
enum HardwareID : std::uint32_t {
    HWID_PROCESSOR = 10,
    HWID_SYNTHESIZER = 11,
    HWID_AMPLIFIER = 12,
    HWID_MECHANICS = 15,
    HWID_BACK_PANEL = 19
};

/// What the connected generator is.
enum GenType : std::uint32_t {
    GEN_UNKNOWN = 0,  ///< not connected, or a firmware too old to tell
    GEN_HARDWARE = 1, ///< a real generator
    GEN_SIMULATOR = 2 ///< software
};

/// Physical unit of a measure.
enum Unit : std::uint32_t {
    UNIT_UNKNOWN = 0,
    UNIT_VOLT = 1,
    UNIT_AMPERE = 2,
    UNIT_WATT = 3,
    UNIT_RADIAN = 4,
    UNIT_CELSIUS = 5
};

/// Kind of amplifier board, by the measures that it provides.
enum AmplifierType : std::uint32_t {
    AMPLIFIER_UNKNOWN = 0,
    AMPLIFIER_Pf_Pr_Pvr = 1,   ///< forward power, reverse power, phase shift voltage/reference
    AMPLIFIER_V_I_Pvi_Pvr = 2, ///< voltage, current, phase shifts voltage/current and /reference
    AMPLIFIER_Vf_Vr_Pvr = 3    ///< forward voltage, reverse voltage, phase shift voltage/reference
};

/// Known amplifier types are those from AMPLIFIER_FIRST up to, but without, AMPLIFIER_COUNT.
inline constexpr std::uint32_t AMPLIFIER_FIRST = 1;
inline constexpr std::uint32_t AMPLIFIER_COUNT = 4;

/// How the generator executes a trajectory.
enum ElecExecMode : std::uint32_t {
    /// The default: one shot result per shot, one execution result per execution.
    EXEC_ELEC_NORMAL = 0,
    /// Shorter timings, execution results only; deprecated from protocol 3 on. Frequencies: one
    /// value per shot, or one per channel in the first shot and none in all others.
    EXEC_ELEC_QUICK = 1,
    /// The shortest timings: no shot result, and one execution result at the very end.
    EXEC_ELEC_REPEAT = 2,
    /// Deprecated experiment: up to four very short consecutive shots, otherwise like REPEAT.
    EXEC_ELEC_COMPOSITE = 3,
    /// No electronic part, a mechanical displacement only; refused where a trajectory is sent.
    EXEC_ELEC_NONE = 122
};

/// What a signal at the trigger input does.
enum TriggerMode : std::uint32_t {
    EXEC_TRIGGER_IGNORED = 0, ///< nothing; the default
    EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING = 1,
    EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY = 2,
    /// In this mode a shot's delay passes before the shot instead of after it.
    EXEC_TRIGGER_ONE_PULSE_PER_SHOT = 3
};

/// How a mechanical displacement goes along with an electronic execution.
enum MechExecMode : std::uint32_t { EXEC_MECH_NONE = 0, EXEC_MECH_CONTINUE = 1 };

/// Execution flags, a bit mask.
enum ExecFlag : std::uint32_t {
    /// The phase counter goes on from shot to shot; all shot delays but the last must be 0.
    EXEC_FLAG_KEEP_PHASE_COUNTER = 1,
    /// An execution result only for the last execution.
    EXEC_FLAG_OMIT_EXEC_RESULTS = 2,
    /// Shot durations and delays are left alone, by the library and by the generator.
    EXEC_FLAG_IGNORE_TIMING_CHECKS = 4,
    /// Shot results include board measures; NORMAL mode only.
    EXEC_FLAG_ADD_BOARD_MEASURES = 8,
    /// An unexpected trigger pulse doesn't stop the execution.
    EXEC_FLAG_IGNORE_UNEXP_TRIGGER = 16,
    /// May be stopped and replaced by the trajectory of another buffer; NORMAL and QUICK only.
    EXEC_FLAG_SWITCHABLE = 32,
    /// No amplifier measures, no shot results, shorter total durations; NORMAL mode only.
    EXEC_FLAG_OMIT_ALL_MEASURES = 64
};

/// Board parameters, for `Generator::readBoardParam` and `writeBoardParam`.
enum BoardParam : std::uint16_t {
    BPARAM_UPB_MAX_ASYNC_TIMEOUT = 1375,
    BPARAM_UPB_RAMP_START_TIME = 1377,
    BPARAM_UPB_RAMP_END_TIME = 1378,
    BPARAM_UPB_CLOCK_FREQUENCY = 1379,
    BPARAM_UPB_SHOOTING_TOLERANCE = 1380,
    BPARAM_UPB_TOTAL_SHOT_TOLERANCE = 1381,
    BPARAM_UPB_MAX_Iout_Prev = 1383,
    BPARAM_UPB_EXEC_HEARTBEAT_TIMEOUT = 1384,
    BPARAM_UPB_TRAJ_CHECKS = 1385,
    BPARAM_UPB_MAX_AMPLITUDE = 1386,
    BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL = 1387,
    BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_QUICK = 1388,
    BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_REPEAT = 1389,
    BPARAM_UPB_MAX_SHOOTING_DURATION = 1390,
    BPARAM_UPB_MAX_TOTAL_SHOT_DURATION = 1391,
    BPARAM_UPB_MAX_TRAJ_REPEAT_DELAY = 1392,
    BPARAM_UPB_MAX_RAMP_TIME = 1393,
    BPARAM_UPB_PERIPH_POWER_SUPPLY = 1400,
    BPARAM_UPB_PERIPH_MASTER_DDS = 1401,
    BPARAM_UPB_PERIPH_SLAVE_RESET = 1402,
    BPARAM_UPB_PERIPH_FANS = 1403,
    BPARAM_UPB_MOT_SYNC_MASK = 1410,
    BPARAM_ALL_BO_MIN = 2500, ///< plus a measure's index: its lower threshold
    BPARAM_ALL_BO_MAX = 2600, ///< plus a measure's index: its upper threshold
    BPARAM_UPB_MAX_SHOTS_COMPOSITE = 2800,
    BPARAM_UPB_MIN_SHOOTING_DURATION_SHOT0_COMPOSITE = 2801,
    BPARAM_UPB_MIN_SHOOTING_DURATION_ALL_COMPOSITE = 2802,
    BPARAM_UPB_MAX_SHOOTING_DURATION_COMPOSITE = 2803,
    BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_COMPOSITE = 2804,
    BPARAM_UPB_MIN_REPEAT_SHOT_DELAY_NOTRIG = 2805,
    BPARAM_ALL_HW_VERSION = 2901,
    BPARAM_ALL_HW_ADDRESS = 2902,
    BPARAM_ALL_SECTOR_SIZE = 2903,
    BPARAM_ALL_SECTOR_TIME = 2904,
    BPARAM_ALL_UID = 2905,
    BPARAM_ALL_CRC = 2906,
    BPARAM_ALL_BOARD_SW_nRESET = 2910
};

/// Measure indices that BPARAM_ALL_BO_MIN and BPARAM_ALL_BO_MAX leave room for.
inline constexpr std::uint32_t BPARAM_MEASURE_RANGE = 100;

/// Parts of a generator that can be switched. There are two more, 1 and 3, without a name.
enum Peripheral : std::uint32_t {
    PERIPHERAL_POWER_SUPPLY_28V = 0, ///< of the amplifiers; switching it off stops its fan, too
    PERIPHERAL_SLAVE_BOARDS = 2 ///< off and on resets all slave boards, the mechanical included
};

inline constexpr std::uint32_t PERIPHERAL_COUNT = 4;

/// What may be wrong with a board, a bit mask; 0: it is well.
enum BoardStatus : std::uint32_t {
    BOARD_STATUS_RESETED = 1,     ///< reset unexpectedly, until the slave boards are rebooted
    BOARD_STATUS_CRC = 2,         ///< the CRC of its firmware is bad
    BOARD_STATUS_POWER_SUPPLY = 4 ///< wrong state of its power supply; UPB: of the global switch
};

/// What a reboot takes in.
enum RebootTarget : std::uint32_t {
    REBOOT_ALL = 9000,   ///< main board and slaves; takes more than 20 seconds
    REBOOT_SLAVES = 9001 ///< slaves only, which are then detected again; less than 5 seconds
};

/// Where the generator keeps the configuration of its back panel.
enum BackPanelStorage : std::uint32_t {
    BKP_RAM = 0,   ///< what is in use now, until the generator is switched off
    BKP_FLASH = 1, ///< what it starts with; may be empty. To read only
    BKP_BOTH = 2   ///< both at once. To write only
};

// The tables: name functions, bindings and simulator read these rows.

inline constexpr EnumRow BOARD_TYPES[] = {{BOARD_PROCESSOR, "BOARD_PROCESSOR", "PROCESSOR"},
                                          {BOARD_SYNTHESIZER, "BOARD_SYNTHESIZER", "SYNTHESIZER"},
                                          {BOARD_AMPLIFIER, "BOARD_AMPLIFIER", "AMPLIFIER"},
                                          {BOARD_MECHANICS, "BOARD_MECHANICS", "MECHANICS"}};

inline constexpr EnumRow HARDWARE_IDS[] = {{HWID_PROCESSOR, "HWID_PROCESSOR", "PROCESSOR"},
                                           {HWID_SYNTHESIZER, "HWID_SYNTHESIZER", "SYNTHESIZER"},
                                           {HWID_AMPLIFIER, "HWID_AMPLIFIER", "AMPLIFIER"},
                                           {HWID_MECHANICS, "HWID_MECHANICS", "MECHANICS"},
                                           {HWID_BACK_PANEL, "HWID_BACK_PANEL", "BACKPANEL"}};

inline constexpr EnumRow GEN_TYPES[] = {{GEN_UNKNOWN, "GEN_UNKNOWN", "UNKNOWN"},
                                        {GEN_HARDWARE, "GEN_HARDWARE", "HARDWARE"},
                                        {GEN_SIMULATOR, "GEN_SIMULATOR", "SIMULATOR"}};

inline constexpr EnumRow AMPLIFIER_TYPES[] = {
    {AMPLIFIER_UNKNOWN, "AMPLIFIER_UNKNOWN", "UNKNOWN"},
    {AMPLIFIER_Pf_Pr_Pvr, "AMPLIFIER_Pf_Pr_Pvr", "Pf_Pr_Pvr"},
    {AMPLIFIER_V_I_Pvi_Pvr, "AMPLIFIER_V_I_Pvi_Pvr", "V_I_Pvi_Pvr"},
    {AMPLIFIER_Vf_Vr_Pvr, "AMPLIFIER_Vf_Vr_Pvr", "Vf_Vr_Pvr"}};

/// A unit's row has, instead of an enumerator's name, the name and the symbol that are printed.
struct UnitRow {
    std::uint32_t value;
    const char* name;
    const char* symbol;
    const char* shortName;
};

inline constexpr UnitRow UNITS[] = {
    {UNIT_UNKNOWN, "???", "?", "UNKNOWN"},    {UNIT_VOLT, "Volt", "V", "VOLT"},
    {UNIT_AMPERE, "Ampere", "A", "AMPERE"},   {UNIT_WATT, "Watt", "W", "WATT"},
    {UNIT_RADIAN, "radian", "rad", "RADIAN"}, {UNIT_CELSIUS, "Celsius", "C", "CELSIUS"}};

/// EXEC_ELEC_NONE has no full name: the generator doesn't know it.
inline constexpr EnumRow ELEC_EXEC_MODES[] = {
    {EXEC_ELEC_NORMAL, "EXEC_ELEC_NORMAL", "NORMAL"},
    {EXEC_ELEC_QUICK, "EXEC_ELEC_QUICK", "QUICK"},
    {EXEC_ELEC_REPEAT, "EXEC_ELEC_REPEAT", "REPEAT"},
    {EXEC_ELEC_COMPOSITE, "EXEC_ELEC_COMPOSITE", "COMPOSITE"},
    {EXEC_ELEC_NONE, nullptr, "NONE"}};

inline constexpr EnumRow TRIGGER_MODES[] = {
    {EXEC_TRIGGER_IGNORED, "EXEC_TRIGGER_IGNORED", "IGNORED"},
    {EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING, "EXEC_TRIGGER_ONE_PULSE_FOR_EVERYTHING",
     "ONE_PULSE_FOR_EVERYTHING"},
    {EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY, "EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY",
     "ONE_PULSE_PER_TRAJECTORY"},
    {EXEC_TRIGGER_ONE_PULSE_PER_SHOT, "EXEC_TRIGGER_ONE_PULSE_PER_SHOT", "ONE_PULSE_PER_SHOT"}};

inline constexpr EnumRow MECH_EXEC_MODES[] = {
    {EXEC_MECH_NONE, "EXEC_MECH_NONE", "NONE"},
    {EXEC_MECH_CONTINUE, "EXEC_MECH_CONTINUE", "CONTINUE"}};

inline constexpr EnumRow EXEC_FLAGS[] = {
    {EXEC_FLAG_KEEP_PHASE_COUNTER, "EXEC_FLAG_KEEP_PHASE_COUNTER", "KEEP_PHASE_COUNTER"},
    {EXEC_FLAG_OMIT_EXEC_RESULTS, "EXEC_FLAG_OMIT_EXEC_RESULTS", "OMIT_EXEC_RESULTS"},
    {EXEC_FLAG_IGNORE_TIMING_CHECKS, "EXEC_FLAG_IGNORE_TIMING_CHECKS", "IGNORE_TIMING_CHECKS"},
    {EXEC_FLAG_ADD_BOARD_MEASURES, "EXEC_FLAG_ADD_BOARD_MEASURES", "ADD_BOARD_MEASURES"},
    {EXEC_FLAG_IGNORE_UNEXP_TRIGGER, "EXEC_FLAG_IGNORE_UNEXP_TRIGGER", "IGNORE_UNEXP_TRIGGER"},
    {EXEC_FLAG_SWITCHABLE, "EXEC_FLAG_SWITCHABLE", "SWITCHABLE"},
    {EXEC_FLAG_OMIT_ALL_MEASURES, "EXEC_FLAG_OMIT_ALL_MEASURES", "OMIT_ALL_MEASURES"}};

inline constexpr EnumRow BOARD_STATUSES[] = {
    {BOARD_STATUS_RESETED, "BOARD_STATUS_RESETED", "RESETED"},
    {BOARD_STATUS_CRC, "BOARD_STATUS_CRC", "CRC"},
    {BOARD_STATUS_POWER_SUPPLY, "BOARD_STATUS_POWER_SUPPLY", "POWER_SUPPLY"}};

inline constexpr EnumRow PERIPHERALS[] = {
    {PERIPHERAL_POWER_SUPPLY_28V, "PERIPHERAL_POWER_SUPPLY_28V", "POWER_SUPPLY_28V"},
    {PERIPHERAL_SLAVE_BOARDS, "PERIPHERAL_SLAVE_BOARDS", "SLAVE_BOARDS"}};

inline constexpr EnumRow BACK_PANEL_STORAGES[] = {
    {BKP_RAM, "BKP_RAM", "RAM"}, {BKP_FLASH, "BKP_FLASH", "FLASH"}, {BKP_BOTH, "BKP_BOTH", "BOTH"}};

// The name functions never return null. A value outside the table is logged at level ERROR and
// gives the marker told; they may be called on any thread, and the text lives for ever.

/// "Volt" ...; "???" for an unknown unit.
FUS_API const char* unitName(std::uint32_t unit);
/// "V" ...; "?" for an unknown unit.
FUS_API const char* unitSymbol(std::uint32_t unit);
/// "EXEC_ELEC_NORMAL" ...; "?EMODE?", also for EXEC_ELEC_NONE.
FUS_API const char* elecExecModeName(std::uint32_t mode);
/// "EXEC_TRIGGER_IGNORED" ...; "?TMODE?".
FUS_API const char* triggerModeName(std::uint32_t mode);
/// "EXEC_MECH_NONE" ...; "?MMODE?".
FUS_API const char* mechExecModeName(std::uint32_t mode);
/// "HWID_PROCESSOR" ...; "?HWID?".
FUS_API const char* hardwareName(std::uint32_t hwid);
/// "BKP_RAM" ...; "?BKP?".
FUS_API const char* backPanelStorageName(std::uint32_t storage);

/// The wire's number of a board type. Throws ERR_INDEX "board type" above BOARD_MECHANICS.
FUS_API HardwareID boardTypeToHardwareID(std::uint32_t boardType);
/// The opposite. Throws ERR_INDEX "hardware ID" for any id but the four of the board types.
FUS_API BoardType hardwareIDToBoardType(std::uint32_t hwid);

} // namespace fus::gprotocol
