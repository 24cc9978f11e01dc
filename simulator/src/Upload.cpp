#include "Upload.h"

#include "Refusal.h"

#include "fus/GProtocol.h"

#include <algorithm>
#include <string>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::size_t EMPTY_SHOT_SIZE = 14;
constexpr unsigned ALL_FLAGS = 127;

void checkBuffer(const Hardware& hardware, std::uint32_t buffer) {
    const std::size_t count = hardware.description().bufferCount;
    if (buffer >= count) {
        refuse(OUT_OF_RANGE, buffer, "Bad buffer index %u, there are %zu buffers.",
               static_cast<unsigned>(buffer), count);
    }
}

// A list's length in a shot record, which says nothing about the list yet.
std::size_t readCount(ByteReader& reader, std::size_t active, bool isV3, std::size_t shot,
                      const char* what) {
    const std::size_t count = reader.u16();
    const bool isOdd = isV3 && count > 1 && count != active;
    if (count > active || isOdd) {
        refuse(OUT_OF_RANGE, static_cast<std::uint32_t>(shot),
               "Shot %zu: bad number of %s (%zu for %zu channels).", shot, what, count, active);
    }
    if (shot == 0 && count == 0) {
        refuse(CHECK_ERROR, 0, "The first shot has no %s.", what);
    }
    return count;
}

std::vector<std::uint8_t> readBytes(ByteReader& reader, std::size_t count) {
    const std::uint8_t* bytes = reader.take(count);
    return std::vector<std::uint8_t>(bytes, bytes + count);
}

Shot readShot(ByteReader& reader, std::size_t active, bool isV3, std::size_t index) {
    Shot shot;
    const std::size_t frequencies = readCount(reader, active, isV3, index, "frequencies");
    if (reader.remaining() / 4 < frequencies) {
        throw ShortData();
    }
    shot.frequencies.reserve(frequencies);
    for (std::size_t i = 0; i < frequencies; ++i) {
        shot.frequencies.push_back(reader.u32());
    }
    shot.phases = readBytes(reader, readCount(reader, active, isV3, index, "phases"));
    shot.amplitudes = readBytes(reader, readCount(reader, active, isV3, index, "amplitudes"));
    shot.duration = reader.u32();
    shot.delay = reader.u32();
    return shot;
}

void readShots(const Hardware& hardware, ByteReader& reader, Trajectory& trajectory) {
    const Description& description = hardware.description();
    const std::size_t count = reader.u32();
    if (count > description.maxShots) {
        refuse(BUFFER_SIZE, static_cast<std::uint32_t>(count), "%zu shots, a buffer holds %zu.",
               count, description.maxShots);
    }
    if (reader.remaining() / EMPTY_SHOT_SIZE < count) {
        throw ShortData();
    }
    const auto active = static_cast<std::size_t>(
        std::count(trajectory.channels.begin(), trajectory.channels.end(), true));
    trajectory.shots.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        trajectory.shots.push_back(readShot(reader, active, description.hasV3Uploads(), i));
    }
    checkAmplitudes(hardware, trajectory);
}

// Total count, active count, a bit for each channel.
std::vector<bool> readMask(const Description& description, ByteReader& reader) {
    const std::size_t count = reader.u32();
    const std::size_t active = reader.u32();
    if (count != description.channelCount) {
        refuse(CHECK_ERROR, static_cast<std::uint32_t>(count), "%zu channels, there are %zu.",
               count, description.channelCount);
    }
    std::vector<bool> channels(count);
    const std::uint8_t* bits = reader.take((count + 7) / 8);
    std::size_t found = 0;
    for (std::size_t i = 0; i < count; ++i) {
        channels[i] = bits[i / 8] >> (i % 8) & 1;
        found += channels[i] ? 1 : 0;
    }
    if (found != active || active == 0 || (active != count && !description.isV2())) {
        refuse(CHECK_ERROR, static_cast<std::uint32_t>(active), "Bad channel mask.");
    }
    return channels;
}

ExecModes modesOf(const Trajectory& trajectory) {
    return {trajectory.elecMode, trajectory.mechMode, trajectory.trigMode};
}

void readBody(const Hardware& hardware, ByteReader& reader, Trajectory& trajectory) {
    if (hardware.description().hasV3Uploads()) {
        trajectory.flags = reader.u32();
        trajectory.elecMode = reader.u8();
        trajectory.mechMode = reader.u8();
        trajectory.trigMode = reader.u8();
        reader.skip(1);
        trajectory.channels.assign(hardware.description().channelCount, true);
    } else {
        trajectory.channels = readMask(hardware.description(), reader);
    }
    readShots(hardware, reader, trajectory);
}

void checkShotTiming(const Shot& shot, std::size_t index, const Limits& limits, bool isTriggered) {
    const std::uint64_t total = std::uint64_t{shot.duration} + shot.delay;
    const auto argument = static_cast<std::uint32_t>(index);
    const std::uint32_t least = index == 0 ? limits.minShootingFirst : limits.minShooting;
    if (shot.duration < least || shot.duration > limits.maxShooting) {
        refuse(OUT_OF_RANGE, argument, "Shot %zu: duration %u us, allowed are %u to %u us.", index,
               static_cast<unsigned>(shot.duration), static_cast<unsigned>(least),
               static_cast<unsigned>(limits.maxShooting));
    }
    if (total > limits.maxTotal || (!isTriggered && total < limits.minTotal)) {
        refuse(OUT_OF_RANGE, argument,
               "Shot %zu: duration and delay %llu us, allowed are %u to %u us.", index,
               static_cast<unsigned long long>(total), static_cast<unsigned>(limits.minTotal),
               static_cast<unsigned>(limits.maxTotal));
    }
    if (!isTriggered && shot.delay < limits.minDelay) {
        refuse(OUT_OF_RANGE, argument, "Shot %zu: delay %u us, at least %u us are needed.", index,
               static_cast<unsigned>(shot.delay), static_cast<unsigned>(limits.minDelay));
    }
}

void checkPhaseCounter(const Trajectory& trajectory) {
    for (std::size_t i = 0; i + 1 < trajectory.shots.size(); ++i) {
        if (trajectory.shots[i].delay != 0) {
            refuse(CHECK_ERROR, static_cast<std::uint32_t>(i),
                   "Shot %zu: no delay while the phase counter goes on.", i);
        }
    }
}

void checkFlags(const ExecModes& modes, unsigned flags) {
    const bool both =
        (flags & EXEC_FLAG_ADD_BOARD_MEASURES) && (flags & EXEC_FLAG_OMIT_ALL_MEASURES);
    constexpr unsigned NORMAL_ONLY = EXEC_FLAG_ADD_BOARD_MEASURES | EXEC_FLAG_OMIT_ALL_MEASURES;
    constexpr unsigned NORMAL_OR_QUICK = EXEC_FLAG_OMIT_EXEC_RESULTS | EXEC_FLAG_SWITCHABLE;
    const bool isNormal = modes.elecMode == EXEC_ELEC_NORMAL;
    const bool isQuick = modes.elecMode == EXEC_ELEC_QUICK;
    if ((flags & ~ALL_FLAGS) != 0 || both || (!isNormal && (flags & NORMAL_ONLY)) ||
        (!isNormal && !isQuick && (flags & NORMAL_OR_QUICK)) ||
        (modes.trigMode == EXEC_TRIGGER_IGNORED && (flags & EXEC_FLAG_IGNORE_UNEXP_TRIGGER))) {
        refuse(INCORRECT_PARAMETER, flags, "Bad execution flags 0x%X.", flags);
    }
}

} // namespace

void checkModes(const Hardware& hardware, const ExecModes& modes, unsigned flags) {
    const Description& description = hardware.description();
    const bool isComposite = modes.elecMode == EXEC_ELEC_COMPOSITE;
    if (modes.elecMode > EXEC_ELEC_COMPOSITE ||
        (isComposite && description.protocolNumber != 300)) {
        refuse(INCORRECT_PARAMETER, modes.elecMode, "Bad electronic mode %u.", modes.elecMode);
    }
    if (modes.trigMode > EXEC_TRIGGER_ONE_PULSE_PER_SHOT ||
        (modes.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_SHOT && modes.mechMode != EXEC_MECH_NONE)) {
        refuse(INCORRECT_PARAMETER, modes.trigMode, "Bad trigger mode %u.", modes.trigMode);
    }
    if (modes.trigMode != EXEC_TRIGGER_IGNORED && !description.hasTriggerInput) {
        refuse(UNAVAILABLE_HARDWARE, modes.trigMode, "There is no trigger input.");
    }
    if (modes.mechMode > EXEC_MECH_CONTINUE) {
        refuse(INCORRECT_PARAMETER, modes.mechMode, "Bad mechanical mode %u.", modes.mechMode);
    }
    if (modes.mechMode != EXEC_MECH_NONE && !description.hasMechanics) {
        refuse(UNAVAILABLE_HARDWARE, modes.mechMode, "There is no mechanical board.");
    }
    checkFlags(modes, flags);
}

void checkAmplitudes(const Hardware& hardware, const Trajectory& trajectory) {
    const std::uint32_t highest = hardware.maxAmplitude();
    for (std::size_t i = 0; i < trajectory.shots.size(); ++i) {
        const auto& amplitudes = trajectory.shots[i].amplitudes;
        const auto most = std::max_element(amplitudes.begin(), amplitudes.end());
        if (most != amplitudes.end() && *most > highest) {
            refuse(OUT_OF_RANGE, static_cast<std::uint32_t>(i),
                   "Shot %zu: amplitude %u above the threshold %u.", i, unsigned{*most},
                   static_cast<unsigned>(highest));
        }
    }
}

void checkShots(const Hardware& hardware, const Trajectory& trajectory, const ExecModes& modes) {
    const std::size_t count = trajectory.shots.size();
    const Limits limits = hardware.limits(modes.elecMode, trajectory.flags, count);
    if (count > limits.maxShots) {
        refuse(BUFFER_SIZE, static_cast<std::uint32_t>(count), "%zu shots, this mode takes %zu.",
               count, limits.maxShots);
    }
    if (trajectory.flags & EXEC_FLAG_KEEP_PHASE_COUNTER) {
        checkPhaseCounter(trajectory);
    }
    if ((trajectory.flags & EXEC_FLAG_IGNORE_TIMING_CHECKS) || !hardware.checksAreOn()) {
        return;
    }
    const bool isTriggered = modes.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_SHOT;
    for (std::size_t i = 0; i < count; ++i) {
        checkShotTiming(trajectory.shots[i], i, limits, isTriggered);
    }
}

Upload readUpload(const Hardware& hardware, const Bytes& payload) {
    ByteReader reader(payload);
    Upload upload;
    upload.buffer = reader.u32();
    checkBuffer(hardware, upload.buffer);
    upload.trajectory = std::make_shared<Trajectory>();
    readBody(hardware, reader, *upload.trajectory);
    if (reader.remaining() != 0) {
        refuse(BAD_INPUT_SIZE, static_cast<std::uint32_t>(payload.size()), "%zu bytes too many.",
               reader.remaining());
    }
    if (hardware.description().hasV3Uploads() && !upload.trajectory->shots.empty()) {
        const ExecModes modes = modesOf(*upload.trajectory);
        checkModes(hardware, modes, upload.trajectory->flags);
        checkShots(hardware, *upload.trajectory, modes);
    }
    return upload;
}

} // namespace simulator
} // namespace fus
