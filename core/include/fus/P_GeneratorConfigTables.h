#pragma once

#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorConfig.h"

#include <cstdint>

namespace fus {

/// What stands in a row for "no parameter of the processor board tells this".
constexpr std::uint16_t NO_PARAMETER = 0;

struct CountRow {
    CountIndex index;
    const char* name;
    std::uint16_t parameter = NO_PARAMETER;
};

/// One row for each count, the row's position being the index.
inline constexpr CountRow COUNTS[] = {
    {NB_ACTIVE_BOARDS, "NB_ACTIVE_BOARDS"},
    {NB_PROCESSOR_BOARDS, "NB_PROCESSOR_BOARDS"},
    {NB_DETECTED_SYNTHESIZER_BOARDS, "NB_DETECTED_SYNTHESIZER_BOARDS"},
    {NB_DETECTED_AMPLIFIER_BOARDS, "NB_DETECTED_AMPLIFIER_BOARDS"},
    {NB_MECHANICS_BOARDS, "NB_MECHANICS_BOARDS"},
    {NB_ACTIVE_SYNTHESIZER_BOARDS, "NB_ACTIVE_SYNTHESIZER_BOARDS"},
    {NB_ACTIVE_AMPLIFIER_BOARDS, "NB_ACTIVE_AMPLIFIER_BOARDS"},
    {NB_CHANNELS, "NB_CHANNELS"},
    {NB_BUFFERS, "NB_BUFFERS"},
    {NB_MAX_TRAJECTORY_SIZE, "NB_MAX_TRAJECTORY_SIZE"},
    {NB_MAX_COMPOSITE_SHOTS, "NB_MAX_COMPOSITE_SHOTS", gprotocol::BPARAM_UPB_MAX_SHOTS_COMPOSITE},
    {NB_POWER_SUPPLIES, "NB_POWER_SUPPLIES"},
    {NB_AMPLIFIER_CURRENTS, "NB_AMPLIFIER_CURRENTS"},
    {NB_AMPLIFIER_TEMPERATURES, "NB_AMPLIFIER_TEMPERATURES"},
    {NB_AMPLIFIER_CHANNEL_MEASURES, "NB_AMPLIFIER_CHANNEL_MEASURES"},
    {NB_AMPLIFIER_BOARD_MEASURES, "NB_AMPLIFIER_BOARD_MEASURES"},
    {NB_AMPLIFIER_CHANNEL_MEASURES_SIZE, "NB_AMPLIFIER_CHANNEL_MEASURES_SIZE"},
    {NB_AMPLIFIER_BOARD_MEASURES_SIZE, "NB_AMPLIFIER_BOARD_MEASURES_SIZE"},
    {NB_CHANNELS_PER_SLOT, "NB_CHANNELS_PER_SLOT"},
    {NB_MAX_BOARD_ADDRESS, "NB_MAX_BOARD_ADDRESS"},
};

/// How the two sources of a timing tell it.
enum class TimingDefault {
    FIXED,       ///< `defaultValue`
    MAX_SHOOTING ///< what TIME_MAX_SHOOTING has been given
};
enum class TimingRefinement {
    KEPT,      ///< stays as the text gave it
    ZERO,      ///< becomes 0
    PARAMETER, ///< is read from the processor board
};

struct TimingRow {
    TimingIndex index;
    const char* name;
    /// Key of [Timing constraints]; null where there is none and the default holds.
    const char* key;
    std::uint32_t defaultValue = 0;
    TimingRefinement refinement = TimingRefinement::KEPT;
    std::uint16_t parameter = NO_PARAMETER;
    /// Read instead where `key` yields 0.
    const char* fallbackKey = nullptr;
    TimingDefault defaultFrom = TimingDefault::FIXED;
};

constexpr const char* TIMING_SECTION = "Timing constraints";
constexpr std::uint32_t DEFAULT_MIN_HEARTBEAT_TIMEOUT = 50000; // [us]

/// One row for each timing, the row's position being the index.
inline constexpr TimingRow TIMINGS[] = {
    {TIME_MIN_SHOOTING, "TIME_MIN_SHOOTING", "min_shot_duration_us", 0, TimingRefinement::ZERO},
    {TIME_MAX_SHOOTING, "TIME_MAX_SHOOTING", "max_shot_duration_us", 0, TimingRefinement::PARAMETER,
     gprotocol::BPARAM_UPB_MAX_SHOOTING_DURATION, "max_shot_length_us"},
    {TIME_MIN_QUICK_SHOOTING, "TIME_MIN_QUICK_SHOOTING", "min_qshot_duration_us", 0,
     TimingRefinement::ZERO},
    {TIME_MAX_QUICK_SHOOTING, "TIME_MAX_QUICK_SHOOTING", "max_qshot_duration_us", 0,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MAX_SHOOTING_DURATION, nullptr,
     TimingDefault::MAX_SHOOTING},
    {TIME_MIN_TOTAL_SHOT, "TIME_MIN_TOTAL_SHOT", "min_shot_length_us", 0,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL},
    {TIME_MAX_TOTAL_SHOT, "TIME_MAX_TOTAL_SHOT", "max_shot_length_us", 0,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MAX_TOTAL_SHOT_DURATION},
    {TIME_MIN_QUICK_TOTAL_SHOT, "TIME_MIN_QUICK_TOTAL_SHOT", "min_qshot_length_us", 0,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_QUICK},
    {TIME_MIN_REPEAT_TOTAL_SHOT, "TIME_MIN_REPEAT_TOTAL_SHOT", "min_rfqshot_length_us", 0,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_REPEAT},
    {TIME_MIN_REPEAT_SHOT_DELAY_NOTRIG, "TIME_MIN_REPEAT_SHOT_DELAY_NOTRIG", nullptr, 2400,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MIN_REPEAT_SHOT_DELAY_NOTRIG},
    {TIME_MIN_TRAJECTORY_DELAY, "TIME_MIN_TRAJECTORY_DELAY", "min_delay_between_trj_us", 0,
     TimingRefinement::ZERO},
    {TIME_MAX_TRAJECTORY_DELAY, "TIME_MAX_TRAJECTORY_DELAY", "max_delay_between_trj_us", 85000000,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MAX_TRAJ_REPEAT_DELAY},
    {TIME_MAX_REPEAT_TRAJECTORY_DELAY, "TIME_MAX_REPEAT_TRAJECTORY_DELAY", nullptr},
    {TIME_MAX_BOARD_TIMEOUT, "TIME_MAX_BOARD_TIMEOUT", "max_timeout_ms_async_PC2SLV_cmd", 43200000,
     TimingRefinement::PARAMETER, gprotocol::BPARAM_UPB_MAX_ASYNC_TIMEOUT},
    {TIME_MAX_RAMP, "TIME_MAX_RAMP", "max_ramp_time_us", 0, TimingRefinement::PARAMETER,
     gprotocol::BPARAM_UPB_MAX_RAMP_TIME},
    {TIME_MIN_HEARTBEAT_TIMEOUT, "TIME_MIN_HEARTBEAT_TIMEOUT", nullptr,
     DEFAULT_MIN_HEARTBEAT_TIMEOUT},
};

/// The order in which the refinement goes through the timings: it can be seen on the wire.
inline constexpr TimingIndex TIMING_REFINEMENT_ORDER[] = {
    TIME_MIN_SHOOTING,
    TIME_MAX_SHOOTING,
    TIME_MIN_TOTAL_SHOT,
    TIME_MAX_TOTAL_SHOT,
    TIME_MIN_TRAJECTORY_DELAY,
    TIME_MAX_TRAJECTORY_DELAY,
    TIME_MIN_QUICK_SHOOTING,
    TIME_MAX_QUICK_SHOOTING,
    TIME_MIN_QUICK_TOTAL_SHOT,
    TIME_MIN_REPEAT_TOTAL_SHOT,
    TIME_MIN_REPEAT_SHOT_DELAY_NOTRIG,
    TIME_MAX_BOARD_TIMEOUT,
    TIME_MAX_RAMP,
};

template <class Row, std::size_t N>
constexpr bool rowsStandAtTheirIndex(const Row (&rows)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        if (rows[i].index != i) {
            return false;
        }
    }
    return true;
}

static_assert(sizeof COUNTS / sizeof COUNTS[0] == COUNT_TOTAL && rowsStandAtTheirIndex(COUNTS));
static_assert(sizeof TIMINGS / sizeof TIMINGS[0] == TIMING_TOTAL && rowsStandAtTheirIndex(TIMINGS));

} // namespace fus
