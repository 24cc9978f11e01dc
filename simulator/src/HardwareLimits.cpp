// What may be shot.
#include "Hardware.h"
#include "Parameters.h"

#include "fus/P_GProtocol.h"

#include <algorithm>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::uint32_t MAX_COMPOSITE_TOTAL = 2000000; // [microseconds]

std::uint32_t low32(std::uint64_t value) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, 0xFFFFFFFFU));
}

} // namespace

bool Hardware::checksAreOn() const {
    return upb(BPARAM_UPB_TRAJ_CHECKS) != TRAJ_CHECKS_OFF;
}

std::uint32_t Hardware::maxAmplitude() const {
    return low32(upb(BPARAM_UPB_MAX_AMPLITUDE));
}

Limits Hardware::compositeLimits() const {
    Limits limits;
    limits.minShootingFirst = low32(upb(BPARAM_UPB_MIN_SHOOTING_DURATION_SHOT0_COMPOSITE));
    limits.minShooting = low32(upb(BPARAM_UPB_MIN_SHOOTING_DURATION_ALL_COMPOSITE));
    limits.maxShooting = low32(upb(BPARAM_UPB_MAX_SHOOTING_DURATION_COMPOSITE));
    limits.minTotal = low32(upb(BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_COMPOSITE));
    limits.maxTotal = std::max(limits.maxShooting, MAX_COMPOSITE_TOTAL);
    limits.maxShots = static_cast<std::size_t>(upb(BPARAM_UPB_MAX_SHOTS_COMPOSITE));
    return limits;
}

Limits Hardware::limits(unsigned elecMode, unsigned flags, std::size_t shots) const {
    const bool isRepeat = elecMode == EXEC_ELEC_REPEAT;
    const bool repeatsSeveral = isRepeat && shots > 1 && m_description.hasV3Uploads();
    if (elecMode == EXEC_ELEC_COMPOSITE || repeatsSeveral) {
        return compositeLimits();
    }
    const bool isQuick = elecMode != EXEC_ELEC_NORMAL;
    const bool isShort = isQuick || (flags & EXEC_FLAG_OMIT_ALL_MEASURES);
    const TimingDescription& timing = m_description.timing;
    Limits limits;
    if (m_description.isV2()) {
        limits.minShooting = isQuick ? timing.minQuickShooting : timing.minShooting;
        limits.maxShooting = isQuick ? timing.maxQuickShooting : timing.maxShooting;
        limits.minTotal = isRepeat  ? timing.minRepeatTotal
                          : isShort ? timing.minQuickTotal
                                    : timing.minTotal;
        limits.maxTotal = timing.maxTotal;
        limits.minDelay = isRepeat ? timing.minRepeatDelay : 0;
    } else {
        limits.maxShooting = low32(upb(BPARAM_UPB_MAX_SHOOTING_DURATION));
        limits.minTotal = low32(upb(isRepeat  ? BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_REPEAT
                                    : isShort ? BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_QUICK
                                              : BPARAM_UPB_MIN_TOTAL_SHOT_DURATION_NORMAL));
        limits.maxTotal = low32(upb(BPARAM_UPB_MAX_TOTAL_SHOT_DURATION));
        limits.minDelay = isRepeat ? low32(upb(BPARAM_UPB_MIN_REPEAT_SHOT_DELAY_NOTRIG)) : 0;
    }
    limits.minShootingFirst = limits.minShooting;
    limits.maxShots = isRepeat ? 1 : m_description.maxShots;
    return limits;
}

std::uint32_t Hardware::maxTrajectoryDelay(unsigned elecMode) const {
    if (elecMode == EXEC_ELEC_REPEAT || elecMode == EXEC_ELEC_COMPOSITE) {
        return 0;
    }
    return m_description.isV2() ? m_description.timing.maxTrajectoryDelay
                                : low32(upb(BPARAM_UPB_MAX_TRAJ_REPEAT_DELAY));
}

} // namespace simulator
} // namespace fus
