#pragma once

#include "fus/ElectronicTrajectory.h"
#include "fus/MechanicalStatus.h"
#include "fus/P_NetPacket.h"
#include "fus/P_TimeSlicer.h"
#include "fus/PhaseShot.h"
#include "fus/ShotResult.h"
#include "support/Bytes.h"

namespace fus {

/// What only the generator may do with these classes, for the tests.
struct TestPeer {
    static test::Bytes record(const PhaseShot& shot) {
        NetPacket packet(shot.packetSize());
        shot.writePacket(packet);
        return written(packet);
    }

    static test::Bytes maskBlock(const ElectronicTrajectory& trajectory) {
        NetPacket packet(64);
        trajectory.writeMask(packet);
        return written(packet);
    }

    static void slice(ElectronicTrajectory& trajectory, const ShotLimits& limits,
                      gprotocol::ElecExecMode mode) {
        trajectory.sliceWithin(limits, mode);
    }

    static unsigned cut(ElectronicTrajectory& trajectory, unsigned index, const TimeSlicer& slicer,
                        unsigned maxShots) {
        return trajectory.cutShot(index, slicer, maxShots);
    }

    /// Returns the one before.
    static auto installConverter(void (*converter)(ShotResult&)) {
        return ShotResult::s_converter.exchange(converter);
    }

    static void setChannelValue(ShotResult& result, unsigned channel, unsigned measure, float v) {
        result.setConvertedChannelValue(channel, measure, v);
    }

    static void setBoardValue(ShotResult& result, unsigned board, unsigned measure, float v) {
        result.setConvertedBoardValue(board, measure, v);
    }

    static void setPower(ShotResult& result, unsigned channel, float watts) {
        result.setComputedPower(channel, watts);
    }

    static MechanicalStatus mechanicalStatus(std::uint32_t code) { return MechanicalStatus(code); }

private:
    static test::Bytes written(const NetPacket& packet) {
        return test::Bytes(packet.data(), packet.data() + packet.position());
    }
};

} // namespace fus
