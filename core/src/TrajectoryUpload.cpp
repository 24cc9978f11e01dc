#include "fus/P_TrajectoryUpload.h"

#include "fus/ElectronicTrajectory.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorConfig.h"
#include "fus/P_GeneratorLimits.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <string>

namespace fus {

namespace {

using namespace gprotocol;

/// Bytes of either format in front of the shots, without the mask.
constexpr unsigned HEAD_SIZE = 16;
/// Values of a kind that a shot's log line shows.
constexpr unsigned LOGGED_VALUES = 16;

bool isV3Format(const GeneratorConfig& config) {
    return config.protocolNumber() >= PROTOCOL_V3_FULL;
}

unsigned headSize(const GeneratorConfig& config, unsigned channels) {
    return isV3Format(config) ? HEAD_SIZE : HEAD_SIZE + channels / 8 + (channels % 8 != 0);
}

template <class ValueAt>
void appendValues(std::string& text, unsigned count, const char* what, ValueAt valueAt) {
    text += std::to_string(count);
    text += what;
    for (unsigned i = 0; i < std::min(count, LOGGED_VALUES); ++i) {
        text += i == 0 ? "" : ", ";
        text += std::to_string(valueAt(i));
    }
}

std::string describe(const PhaseShot& shot) {
    std::string text;
    appendValues(text, shot.phaseCount(), " phas[", [&](unsigned i) { return shot.phase(i); });
    text += "], ";
    appendValues(text, shot.frequencyCount(), " freq[",
                 [&](unsigned i) { return shot.frequency(i); });
    text += "], ";
    appendValues(text, shot.amplitudeCount(), " ampl[",
                 [&](unsigned i) { return shot.amplitude(i); });
    text += "]";
    return text;
}

} // namespace

UploadFacts::UploadFacts(const GeneratorConfig& generator, const ElectronicTrajectory& trajectory,
                         const UploadRequest& asked)
    : config(generator), request(asked), protocol(generator.protocolNumber()),
      shots(trajectory.size()), maxShots(limits::maxTrajectorySize(generator, asked.elecMode)),
      channels(trajectory.channels()), activeChannels(trajectory.activeChannels()) {}

bool UploadFacts::isRepeated() const {
    return request.elecMode == EXEC_ELEC_REPEAT || request.elecMode == EXEC_ELEC_COMPOSITE;
}

TrajectoryUpload::TrajectoryUpload(const GeneratorConfig& config,
                                   const ElectronicTrajectory& trajectory,
                                   const UploadRequest& request, bool secure)
    : m_facts(config, trajectory, request), m_secure(secure) {}

bool TrajectoryUpload::isV3() const {
    return isV3Format(m_facts.config);
}

void TrajectoryUpload::takeLimits() {
    const UploadRequest& request = m_facts.request;
    m_canSlice = request.canSlice && !m_facts.isRepeated();
    // Several shots that repeat have the limits of a composite trajectory.
    const bool composite = request.elecMode == EXEC_ELEC_REPEAT && m_facts.shots >= 2;
    m_effectiveMode = composite ? EXEC_ELEC_COMPOSITE : request.elecMode;
    m_limits.minDuration = limits::minShootingDuration(m_facts.config, m_effectiveMode);
    m_limits.maxDuration = limits::maxShootingDuration(m_facts.config, m_effectiveMode);
    m_limits.minTotal =
        limits::minTotalShotDuration(m_facts.config, m_effectiveMode, request.flags);
    m_limits.maxTotal = limits::maxTotalShotDuration(m_facts.config, m_effectiveMode);
    m_freeSlicing = m_canSlice && m_limits.minDuration == 0;
    if (m_canSlice && !m_slicer.setLimits(m_limits.minTotal, m_limits.maxTotal,
                                          m_limits.minDuration, m_limits.maxDuration)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Bad min/max shot duration constraints from the generator.");
    }
}

void TrajectoryUpload::prepareShots(ElectronicTrajectory& trajectory) {
    // The shots that a cut inserts are stepped over: they have nothing to prepare or check.
    for (unsigned i = 0; i < trajectory.size(); ++i) {
        prepareShot(trajectory, i);
        i = cutShot(trajectory, i);
    }
    if (m_secure && trajectory.size() == 1 &&
        m_facts.request.trigMode == EXEC_TRIGGER_ONE_PULSE_PER_TRAJECTORY) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid trigger mode (only one shot), please use "
                                    "ONE_PULSE_PER_SHOT instead.");
    }
}

void TrajectoryUpload::prepareShot(ElectronicTrajectory& trajectory, unsigned index) const {
    if (m_secure) {
        checkCounts(trajectory.shot(index), index);
    }
    if (!trajectory.shot(index).prepareData(trajectory)) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Shot[" + std::to_string(index) + "]: error converting phases");
    }
    if (!m_secure) {
        return;
    }
    // Looked up anew: the application's own code has just run.
    const PhaseShot& shot = trajectory.shot(index);
    checkPhases(shot, index);
    if (!m_facts.hasFlag(EXEC_FLAG_IGNORE_TIMING_CHECKS)) {
        checkTimings(shot, index);
    }
}

unsigned short TrajectoryUpload::command() const {
    return uploadCommand(m_facts.config);
}

NetPacket TrajectoryUpload::makePacket(const ElectronicTrajectory& trajectory) const {
    // Filled to the last byte, so that the largest uploads needn't be zeroed first.
    const unsigned size =
        headSize(m_facts.config, trajectory.channels()) + trajectory.totalShotsPacketSize();
    NetPacket packet(size, new unsigned char[size], true);
    writeHead(packet, trajectory);
    unsigned total = 0;
    for (unsigned i = 0; i < trajectory.size(); ++i) {
        const PhaseShot& shot = trajectory.shot(i);
        shot.writePacket(packet);
        total += shot.totalDuration();
        FUS_LOG(VERBOSE, "- [%3d] dur=%7d us, delay=%7d us, %s", i, shot.duration(), shot.delay(),
                describe(shot).c_str());
    }
    FUS_LOG(INFO, "Trajectory of %d shots, %d / %d channels, total duration=%d us",
            trajectory.size(), m_facts.activeChannels, m_facts.channels, total);
    return packet;
}

void TrajectoryUpload::writeHead(NetPacket& packet, const ElectronicTrajectory& trajectory) const {
    const UploadRequest& request = m_facts.request;
    packet.write32(request.buffer);
    if (isV3()) {
        packet.write32(request.flags);
        packet.write8(static_cast<unsigned char>(request.elecMode));
        packet.write8(static_cast<unsigned char>(request.mechMode));
        packet.write8(static_cast<unsigned char>(request.trigMode));
        packet.write8(0);
    } else {
        trajectory.writeMask(packet);
    }
    packet.write32(trajectory.size());
}

unsigned short uploadCommand(const GeneratorConfig& config) {
    return isV3Format(config) ? CMD_TRAJ_SEND_V3 : CMD_TRAJ_SEND_V2;
}

NetPacket TrajectoryUpload::makeClearPacket(const GeneratorConfig& config, unsigned buffer) {
    const ElectronicTrajectory allChannels(config.getCount(NB_CHANNELS));
    UploadRequest request;
    request.buffer = buffer;
    NetPacket packet(headSize(config, allChannels.channels()));
    TrajectoryUpload(config, allChannels, request, false).writeHead(packet, allChannels);
    return packet;
}

} // namespace fus
