#pragma once

#include "fus/P_FloatToWord.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorConfig.h"

#include <cstdint>

namespace fus {

/// Parameters of a generator before protocol 3.0, for `CMD_PARAM_GET` and `CMD_PARAM_SET`. Every
/// payload, both ways, starts with the id (16 bits, big-endian as all of it).
enum GeneratorParam : std::uint16_t {
    GPARAM_NONE = 0,
    GPARAM_MAX_AMPLITUDE = 1363,
    GPARAM_MAX_OUT_CURRENT = 1365,
    GPARAM_CHANNELS_STATE = 1366,
    GPARAM_POWER_SUPPLIES = 1367,
    GPARAM_AMPLIFIER_TEMPERATURES = 1368,
    GPARAM_MAX_AMPLIFIER_TEMPERATURES = 1369,
    GPARAM_MULTIPLEXER = 1370,
    GPARAM_AMPLIFIER_CURRENTS = 1371,
    GPARAM_MAX_AMPLIFIER_CURRENTS = 1372,
    GPARAM_PERIPHERAL_STATE = 1373,
    GPARAM_RAMP_START_TIME = 1377,
    GPARAM_RAMP_END_TIME = 1378
};

/// What stands for "the processor board has no such parameter".
constexpr std::uint16_t BPARAM_NONE = 0;

// --- settings of one number ----------------------------------------------------------------------

enum Setting : unsigned {
    SETTING_HEARTBEAT_TIMEOUT,
    SETTING_MULTIPLEXER,
    SETTING_AMPLITUDE_THRESHOLD,
    SETTING_OUT_CURRENT_THRESHOLD,
    SETTING_RAMP_START,
    SETTING_RAMP_END,
    SETTING_CLOCK_FREQUENCY,
    SETTING_SHOOTING_TOLERANCE,
    SETTING_TOTAL_SHOT_TOLERANCE,
};

/// How an older generator has the value behind the id.
enum ParamForm {
    FORM_NONE, ///< not at all: it goes to the processor board at every protocol
    FORM_BYTE, ///< one byte
    FORM_LONG  ///< 16 bits that mean nothing, then 32 bits
};

/// What a value is checked against before it is sent.
enum SettingLimit {
    LIMIT_NONE,
    LIMIT_BYTE,          ///< at most 255, in any mode
    LIMIT_MIN_HEARTBEAT, ///< 0, or at least TIME_MIN_HEARTBEAT_TIMEOUT
    LIMIT_MAX_RAMP,      ///< at most TIME_MAX_RAMP
    LIMIT_CLOCK          ///< one of CLOCK_FREQUENCIES
};

/// A row whose `needsV3` isn't set, and that an older generator doesn't have, leaves the check of
/// the protocol to the board command. A null text stands for no line.
struct SettingRow {
    Setting setting;
    GeneratorParam param; ///< before protocol 3.0
    ParamForm form;
    std::uint16_t boardParam; ///< of the processor board, since protocol 3.0
    SettingLimit limit;
    bool needsV3;
    const char* readLine;                 ///< before it is asked for
    const char *valueBefore, *valueAfter; ///< around the number that was read
    const char *setBefore, *setAfter;     ///< around the number to set, ahead of all checks
};

/// One row for each setting, the row's position being the `Setting`.
inline constexpr SettingRow SETTINGS[] = {
    {SETTING_HEARTBEAT_TIMEOUT, GPARAM_NONE, FORM_NONE,
     gprotocol::BPARAM_UPB_EXEC_HEARTBEAT_TIMEOUT, LIMIT_MIN_HEARTBEAT, true,
     "Read heart-beat timeout...", "Heart-beat timeout: ", " us",
     "Set heart-beat timeout: ", " us"},
    {SETTING_MULTIPLEXER, GPARAM_MULTIPLEXER, FORM_BYTE, BPARAM_NONE, LIMIT_BYTE, false,
     "Read multiplexer value", "  value=", "", "Set multiplexer value (", ")"},
    {SETTING_AMPLITUDE_THRESHOLD, GPARAM_MAX_AMPLITUDE, FORM_BYTE,
     gprotocol::BPARAM_UPB_MAX_AMPLITUDE, LIMIT_BYTE, false, "Read amplitude threshold",
     "Amplitude threshold=", "", "Set amplitude threshold (value=", ")"},
    {SETTING_OUT_CURRENT_THRESHOLD, GPARAM_MAX_OUT_CURRENT, FORM_BYTE,
     gprotocol::BPARAM_UPB_MAX_Iout_Prev, LIMIT_BYTE, false, "Read output current threshold",
     "Output current threshold=", "", "Set output current threshold (value=", ")"},
    {SETTING_RAMP_START, GPARAM_RAMP_START_TIME, FORM_LONG, gprotocol::BPARAM_UPB_RAMP_START_TIME,
     LIMIT_MAX_RAMP, false, "Read shot ramp duration (start)", "Ramp duration (start): ", "",
     "Set shot ramp duration (start, value=", ")"},
    {SETTING_RAMP_END, GPARAM_RAMP_END_TIME, FORM_LONG, gprotocol::BPARAM_UPB_RAMP_END_TIME,
     LIMIT_MAX_RAMP, false, "Read shot ramp duration (end)", "Ramp duration (end): ", "",
     "Set shot ramp duration (end, value=", ")"},
    {SETTING_CLOCK_FREQUENCY, GPARAM_NONE, FORM_NONE, gprotocol::BPARAM_UPB_CLOCK_FREQUENCY,
     LIMIT_CLOCK, false, nullptr, nullptr, nullptr, "Set the clock frequency to ", " Hz"},
    {SETTING_SHOOTING_TOLERANCE, GPARAM_NONE, FORM_NONE, gprotocol::BPARAM_UPB_SHOOTING_TOLERANCE,
     LIMIT_NONE, false, nullptr, nullptr, nullptr, nullptr, nullptr},
    {SETTING_TOTAL_SHOT_TOLERANCE, GPARAM_NONE, FORM_NONE,
     gprotocol::BPARAM_UPB_TOTAL_SHOT_TOLERANCE, LIMIT_NONE, false, nullptr, nullptr, nullptr,
     nullptr, nullptr},
};

constexpr bool areSettingsInOrder() {
    unsigned position = 0;
    for (const SettingRow& row : SETTINGS) {
        if (row.setting != position++) {
            return false;
        }
    }
    return position == SETTING_TOTAL_SHOT_TOLERANCE + 1U;
}
static_assert(areSettingsInOrder());

constexpr unsigned CLOCK_FREQUENCIES[] = {24000000, 25000000}; // [Hz]

// --- lists of values -----------------------------------------------------------------------------

/// What a reading gives that the generator marks as bad.
constexpr float BAD_READING = -1000.0F;

/// Degrees Celsius of an older generator: eighths in 12 bits, the bits above mark a bad value.
constexpr float temperatureFromWord(std::uint32_t word) {
    return word < 0x1000U ? static_cast<float>(word & 0xFFFU) * 0.125F : BAD_READING;
}
/// Amperes: thousandths in 24 bits, the bits above mark a bad value.
constexpr float currentFromWord(std::uint32_t word) {
    return word >> 24U == 0 ? static_cast<float>(word & 0xFFFFFFU) / 1000.0F : BAD_READING;
}
/// Volts: thousandths, signed.
constexpr float voltageFromWord(std::uint32_t word) {
    return static_cast<float>(static_cast<std::int32_t>(word) / 1000.0);
}

inline std::uint32_t wordFromTemperature(float celsius) {
    return floatToWord(celsius * 8.0F) & 0xFFFU;
}
inline std::uint32_t wordFromCurrent(float amperes) {
    return floatToWord(amperes * 1000.0F);
}

/// How a list of an older generator's values travels behind the id: a 16-bit count, then words.
struct ValueForm {
    unsigned width; ///< of a word [bytes], 2 or 4
    float (*fromWord)(std::uint32_t word);
    std::uint32_t (*toWord)(float value); ///< null: it can't be set
};

constexpr ValueForm TEMPERATURE_FORM = {2, &temperatureFromWord, &wordFromTemperature};
constexpr ValueForm CURRENT_FORM = {4, &currentFromWord, &wordFromCurrent};
constexpr ValueForm VOLTAGE_FORM = {4, &voltageFromWord, nullptr};

/// What each amplifier has one value of, and a threshold.
struct AmplifierQuantity {
    const char* plural;  ///< in log lines
    const char* subject; ///< of a refusal
    CountIndex count;
    const char* measure; ///< of the amplifier boards, since protocol 3.0
    GeneratorParam param;
    GeneratorParam maxParam;
    ValueForm form;
};

inline constexpr AmplifierQuantity AMPLIFIER_TEMPERATURE = {"temperatures",
                                                            "Temperature",
                                                            NB_AMPLIFIER_TEMPERATURES,
                                                            "tem",
                                                            GPARAM_AMPLIFIER_TEMPERATURES,
                                                            GPARAM_MAX_AMPLIFIER_TEMPERATURES,
                                                            TEMPERATURE_FORM};
inline constexpr AmplifierQuantity AMPLIFIER_CURRENT = {"currents",
                                                        "Current",
                                                        NB_AMPLIFIER_CURRENTS,
                                                        "idc",
                                                        GPARAM_AMPLIFIER_CURRENTS,
                                                        GPARAM_MAX_AMPLIFIER_CURRENTS,
                                                        CURRENT_FORM};

/// Range of the thresholds, in the unit of each.
constexpr float MIN_AMPLIFIER_THRESHOLD = 0.0F;
constexpr float MAX_AMPLIFIER_THRESHOLD = 256.0F;

// --- peripherals and the rest --------------------------------------------------------------------

/// The parameter of the processor board for each peripheral; older generators have one parameter,
/// `GPARAM_PERIPHERAL_STATE`, with the number behind the id.
inline constexpr std::uint16_t PERIPHERAL_PARAMS[gprotocol::PERIPHERAL_COUNT] = {
    gprotocol::BPARAM_UPB_PERIPH_POWER_SUPPLY, gprotocol::BPARAM_UPB_PERIPH_MASTER_DDS,
    gprotocol::BPARAM_UPB_PERIPH_SLAVE_RESET, gprotocol::BPARAM_UPB_PERIPH_FANS};

/// More channels than any generator has; an answer that tells of more is broken.
constexpr unsigned MAX_STATE_CHANNELS = 4096;

/// Longest delay of `CMD_WAIT` [us].
constexpr unsigned MAX_WAIT = 60000000;

/// Values of `BPARAM_UPB_TRAJ_CHECKS`; no others have an effect.
constexpr std::uint32_t TRAJ_CHECKS_OFF = 0xC3D1E58A;
constexpr std::uint32_t TRAJ_CHECKS_ON = 0x4B7A60F2;

} // namespace fus
