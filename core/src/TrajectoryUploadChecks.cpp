#include "fus/P_TrajectoryUpload.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/P_GeneratorConfig.h"
#include "fus/P_GeneratorLimits.h"
#include "fus/P_LogMacros.h"

#include <cstdint>
#include <string>

namespace fus {

namespace {

using namespace gprotocol;

/// What a row does when its condition holds: refuse the upload, or say so and drop the flag, if the
/// row names one.
enum class Effect { REFUSE, WARN };

struct RequestCheck {
    bool (*applies)(const UploadFacts& facts);
    const char* message;
    Effect effect = Effect::REFUSE;
    unsigned droppedFlag = 0;
};

constexpr unsigned BYTE_MAX = 255;

/// The order is part of the contract: a request with several faults is refused for the first.
constexpr RequestCheck REQUEST_CHECKS[] = {
    {[](const UploadFacts& f) { return f.shots == 0; }, "Empty trajectory"},
    {[](const UploadFacts& f) { return f.shots > f.maxShots; }, "Too many shots in this mode"},
    {[](const UploadFacts& f) { return f.channels != f.config.getCount(NB_CHANNELS); },
     "Invalid channel count"},
    {[](const UploadFacts& f) { return f.activeChannels > f.channels; },
     "Too many active channels"},
    {[](const UploadFacts& f) {
         return f.protocol >= PROTOCOL_V3_PARAMETERS && f.activeChannels != f.channels;
     },
     "Trajectory mask not available, please use setChannelsState() instead."},
    {[](const UploadFacts& f) {
         return f.protocol >= PROTOCOL_V3_FULL && f.request.elecMode == EXEC_ELEC_QUICK;
     },
     "Deprecated execution mode 'QUICK', use NORMAL mode + OMIT_ALL_MEASURES flag.", Effect::WARN},
    {[](const UploadFacts& f) { return f.request.elecMode > BYTE_MAX; },
     "Electronic mode out of range"},
    {[](const UploadFacts& f) { return f.request.elecMode > EXEC_ELEC_COMPOSITE; },
     "Invalid execution mode (unknown)"},
    {[](const UploadFacts& f) {
         return f.protocol < PROTOCOL_V3_PARAMETERS && f.request.elecMode == EXEC_ELEC_COMPOSITE;
     },
     "Invalid execution mode (COMPOSITE not available in v2)"},
    {[](const UploadFacts& f) {
         return f.protocol >= PROTOCOL_V3_FULL && f.request.elecMode == EXEC_ELEC_COMPOSITE;
     },
     "Invalid execution mode (COMPOSITE no more available, use REPEAT mode instead)."},
    {[](const UploadFacts& f) { return f.request.trigMode > BYTE_MAX; },
     "Trigger mode out of range"},
    {[](const UploadFacts& f) {
         return f.request.trigMode != EXEC_TRIGGER_IGNORED && !f.config.getFlag(FLAG_TRIGGER_INPUT);
     },
     "Invalid trigger mode (no trigger available on this generator)"},
    {[](const UploadFacts& f) { return f.request.trigMode > EXEC_TRIGGER_ONE_PULSE_PER_SHOT; },
     "Invalid trigger mode (unknown)"},
    {[](const UploadFacts& f) { return f.request.mechMode > BYTE_MAX; },
     "Mechanical mode out of range"},
    {[](const UploadFacts& f) { return f.request.mechMode > EXEC_MECH_CONTINUE; },
     "Invalid mechanical mode (unknown)"},
    {[](const UploadFacts& f) { return f.protocol < PROTOCOL_V3_FULL && f.request.flags != 0; },
     "Execution flags should be null in protocol v<3."},
    {[](const UploadFacts& f) {
         return f.request.trigMode == EXEC_TRIGGER_IGNORED &&
                f.hasFlag(EXEC_FLAG_IGNORE_UNEXP_TRIGGER);
     },
     "Invalid trigger flag used without trigger mode."},
    {[](const UploadFacts& f) {
         return f.hasFlag(EXEC_FLAG_ADD_BOARD_MEASURES) && f.hasFlag(EXEC_FLAG_OMIT_ALL_MEASURES);
     },
     "Invalid flags combination (ADD_BOARD_MEASURES and OMIT_ALL_MEASURES)."},
    {[](const UploadFacts& f) {
         return f.hasFlag(EXEC_FLAG_OMIT_ALL_MEASURES) && f.request.elecMode != EXEC_ELEC_NORMAL;
     },
     "The execution flag OMIT_ALL_MEASURES can only be used in NORMAL mode, ignored.", Effect::WARN,
     EXEC_FLAG_OMIT_ALL_MEASURES},
    {[](const UploadFacts& f) {
         return f.hasFlag(EXEC_FLAG_ADD_BOARD_MEASURES) && f.request.elecMode != EXEC_ELEC_NORMAL;
     },
     "The execution flag ADD_BOARD_MEASURES can only be used in NORMAL mode, ignored.",
     Effect::WARN, EXEC_FLAG_ADD_BOARD_MEASURES},
    {[](const UploadFacts& f) { return f.hasFlag(EXEC_FLAG_OMIT_EXEC_RESULTS) && f.isRepeated(); },
     "OMIT_EXEC_RESULTS flag can only be used in NORMAL mode, ignored.", Effect::WARN,
     EXEC_FLAG_OMIT_EXEC_RESULTS},
    {[](const UploadFacts& f) {
         return f.request.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_SHOT &&
                f.request.mechMode != EXEC_MECH_NONE;
     },
     "Invalid modes combination (TRIGGER_ONE_PULSE_PER_SHOT with any MECH_MODE != NONE)."},
    {[](const UploadFacts& f) {
         return limits::maxShootingDuration(f.config, f.request.elecMode) == 0;
     },
     "This execution mode is not available."},
};

void append(std::string& text, const char* part) {
    text += part;
}

void append(std::string& text, unsigned number) {
    text += std::to_string(number);
}

/// ERR_ARGUMENT "Bad shot[index]: ..." and the parts, numbers in plain decimal.
template <class... Parts>
[[noreturn]] void refuseShot(unsigned index, Parts... parts) {
    std::string text = "Bad shot[" + std::to_string(index) + "]: ";
    (append(text, parts), ...);
    FUS_THROW_MSG(ERR_ARGUMENT, text);
}

/// Sums of two durations are made in 64 bits: one that wraps must not slip below a limit.
std::uint64_t sum(unsigned a, unsigned b) {
    return std::uint64_t{a} + b;
}

} // namespace

void requireBuffer(const GeneratorConfig& config, unsigned buffer) {
    const unsigned buffers = config.getCount(NB_BUFFERS);
    if (buffer >= buffers) {
        FUS_THROW_INDEX("buffer index", buffer, buffers);
    }
}

void TrajectoryUpload::checkRequest() {
    if (!m_secure) {
        return;
    }
    requireBuffer(m_facts.config, m_facts.request.buffer);
    for (const RequestCheck& check : REQUEST_CHECKS) {
        if (!check.applies(m_facts)) {
            continue;
        }
        if (check.effect == Effect::REFUSE) {
            FUS_THROW_MSG(ERR_ARGUMENT, check.message);
        }
        FUS_LOG(ERROR, "%s", check.message);
        m_facts.request.flags &= ~check.droppedFlag;
    }
}

void TrajectoryUpload::requireUsableCount(unsigned count, const char* what, unsigned index) const {
    if (count >= 2 && count != m_facts.activeChannels) {
        refuseShot(index, "bad number of ", what, " (", count, "), can only be 0, 1 or ",
                   m_facts.activeChannels);
    }
}

void TrajectoryUpload::checkCounts(const PhaseShot& shot, unsigned index) const {
    const unsigned active = m_facts.activeChannels;
    if (shot.phaseCount() > active) {
        refuseShot(index, "too many phases ", shot.phaseCount(), " / ", active);
    }
    if (shot.frequencyCount() > active) {
        refuseShot(index, "too many frequencies ", shot.frequencyCount(), " / ", active);
    }
    if (shot.amplitudeCount() > active) {
        refuseShot(index, "too many amplitudes ", shot.amplitudeCount(), " / ", active);
    }
    if (isV3()) {
        requireUsableCount(shot.frequencyCount(), "frequencies", index);
        requireUsableCount(shot.amplitudeCount(), "amplitudes", index);
    }
    if (index == 0 && shot.frequencyCount() == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "No frequency specified for the first shot");
    }
    if (index == 0 && shot.amplitudeCount() == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "No amplitude specified for the first shot");
    }
}

void TrajectoryUpload::checkPhases(const PhaseShot& shot, unsigned index) const {
    if (index == 0 && shot.phaseCount() == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "No phase specified for the first shot");
    }
    if (isV3()) {
        requireUsableCount(shot.phaseCount(), "phases", index);
    }
}

void TrajectoryUpload::checkTimings(const PhaseShot& shot, unsigned index) const {
    const unsigned duration = shot.duration();
    const unsigned delay = shot.delay();
    if (duration < m_limits.minDuration) {
        refuseShot(index, "too short duration ", duration, " / ", m_limits.minDuration);
    }
    if (m_facts.request.trigMode != EXEC_TRIGGER_ONE_PULSE_PER_SHOT &&
        sum(duration, delay) < m_limits.minTotal) {
        refuseShot(index, "too short duration(", duration, ")+delay(", delay, ") / ",
                   m_limits.minTotal);
    }
    if (m_facts.isRepeated()) {
        checkRepeatedTimings(shot, index);
    } else {
        checkSingleTimings(shot, index);
    }
}

void TrajectoryUpload::checkRepeatedTimings(const PhaseShot& shot, unsigned index) const {
    const unsigned duration = shot.duration();
    const unsigned delay = shot.delay();
    if (duration > m_limits.maxDuration) {
        refuseShot(index, "too long duration ", duration, " / ", m_limits.maxDuration);
    }
    if (sum(duration, delay) > m_limits.maxTotal) {
        refuseShot(index, "too long duration(", duration, ")+delay(", delay, ") / ",
                   m_limits.maxTotal);
    }
    const unsigned minDelay = m_facts.config.getTiming(TIME_MIN_REPEAT_SHOT_DELAY_NOTRIG);
    if (m_effectiveMode == EXEC_ELEC_REPEAT &&
        m_facts.request.trigMode != EXEC_TRIGGER_ONE_PULSE_PER_SHOT && delay < minDelay) {
        refuseShot(index, "too short delay ", delay, "us (min=", minDelay, "us)");
    }
}

void TrajectoryUpload::checkSingleTimings(const PhaseShot& shot, unsigned index) const {
    const unsigned duration = shot.duration();
    const unsigned delay = shot.delay();
    if (!m_canSlice && sum(duration, delay) > m_limits.maxTotal) {
        refuseShot(index, "too long duration(", duration, ")+delay(", delay, ") / ",
                   m_limits.maxTotal);
    }
    if (!m_freeSlicing && sum(delay, m_limits.minTotal) > m_limits.maxTotal) {
        refuseShot(index, "too long delay (with min shooting duration) ", delay, ") / ",
                   m_limits.maxTotal);
    }
}

unsigned TrajectoryUpload::cutShot(ElectronicTrajectory& trajectory, unsigned index) const {
    const PhaseShot& shot = trajectory.shot(index);
    if (shot.duration() <= m_limits.maxDuration &&
        sum(shot.duration(), shot.delay()) <= m_limits.maxTotal) {
        return index;
    }
    if (m_canSlice) {
        return trajectory.cutShot(index, m_slicer, m_secure ? m_facts.maxShots : ~0U);
    }
    if (m_secure) {
        // Stands also where the timing checks are off.
        refuseShot(index, "too long duration ", shot.duration());
    }
    return index;
}

} // namespace fus
