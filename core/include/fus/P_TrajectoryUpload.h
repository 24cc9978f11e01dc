#pragma once

#include "fus/GProtocol.h"
#include "fus/P_NetPacket.h"
#include "fus/P_TimeSlicer.h"

namespace fus {

class ElectronicTrajectory;
class GeneratorConfig;
class PhaseShot;

/// What the caller of an upload asked for.
struct UploadRequest {
    unsigned buffer = 0;
    gprotocol::ElecExecMode elecMode = gprotocol::EXEC_ELEC_NORMAL;
    gprotocol::TriggerMode trigMode = gprotocol::EXEC_TRIGGER_IGNORED;
    gprotocol::MechExecMode mechMode = gprotocol::EXEC_MECH_NONE;
    unsigned flags = 0; // EXEC_FLAG_* bits
    bool canSlice = false;
};

/// What the checks of an upload look at. The flags may lose bits on the way.
struct UploadFacts {
    UploadFacts(const GeneratorConfig& generator, const ElectronicTrajectory& trajectory,
                const UploadRequest& asked);

    bool isRepeated() const; // REPEAT or COMPOSITE
    bool hasFlag(unsigned flag) const { return (request.flags & flag) != 0; }

    const GeneratorConfig& config;
    UploadRequest request;
    unsigned protocol;
    unsigned shots;
    unsigned maxShots;
    unsigned channels;
    unsigned activeChannels;
};

/// One upload between the caller's trajectory and the packet: checks, slicing, encoding. It lives
/// on the stack of the uploading thread, which calls the steps in the order of their declaration;
/// the description of the generator must outlive it.
///
/// Every refusal is ERR_ARGUMENT with a message, unless said otherwise.
class TrajectoryUpload {
public:
    /// Throws ERR_ARGUMENT without a message for an unknown electronic mode.
    TrajectoryUpload(const GeneratorConfig& config, const ElectronicTrajectory& trajectory,
                     const UploadRequest& request, bool secure);

    /// In secure mode, checks everything but the shots, and takes back the flags that have no
    /// meaning in the mode.
    void checkRequest();
    /// Looks up the limits that the shots are held to.
    void takeLimits();
    /// Prepares, checks and cuts shot after shot. ERR_SLICE for a shot that can't be cut.
    void prepareShots(ElectronicTrajectory& trajectory);
    /// Encodes the upload, in the format of the generator's protocol.
    NetPacket makePacket(const ElectronicTrajectory& trajectory) const;

    /// Encodes the upload that empties a buffer: no shots, all channels.
    static NetPacket makeClearPacket(const GeneratorConfig& config, unsigned buffer);

    /// The command that the packet goes with.
    unsigned short command() const;
    /// The flags that are left.
    unsigned flags() const { return m_facts.request.flags; }

private:
    bool isV3() const;
    void prepareShot(ElectronicTrajectory& trajectory, unsigned index) const;
    unsigned cutShot(ElectronicTrajectory& trajectory, unsigned index) const;

    void checkCounts(const PhaseShot& shot, unsigned index) const;
    void checkPhases(const PhaseShot& shot, unsigned index) const;
    void checkTimings(const PhaseShot& shot, unsigned index) const;
    void checkRepeatedTimings(const PhaseShot& shot, unsigned index) const;
    void checkSingleTimings(const PhaseShot& shot, unsigned index) const;
    void requireUsableCount(unsigned count, const char* what, unsigned index) const;

    void writeHead(NetPacket& packet, const ElectronicTrajectory& trajectory) const;

    UploadFacts m_facts;
    bool m_secure;

    // set by takeLimits
    gprotocol::ElecExecMode m_effectiveMode = gprotocol::EXEC_ELEC_NORMAL;
    ShotLimits m_limits;
    bool m_canSlice = false;
    bool m_freeSlicing = false; // a cut may leave shots that are nothing but delay
    TimeSlicer m_slicer;
};

/// The upload command of the generator's protocol.
unsigned short uploadCommand(const GeneratorConfig& config);
/// Throws ERR_INDEX for a buffer that the generator doesn't have.
void requireBuffer(const GeneratorConfig& config, unsigned buffer);

} // namespace fus
