#pragma once

#include "fus/Export.h"
#include "fus/GProtocol.h"
#include "fus/PhaseShot.h"

#include <memory>

namespace fus {

struct ShotLimits;
class TimeSlicer;

/// An ordered list of shots with a channel mask.
///
/// It stores clones (PhaseShot::clone), never the caller's object, so a derived shot stays derived
/// and a shot changed after it was added does not change the trajectory. References to shots live
/// until that shot is replaced, removed or cleared.
///
/// A plain value without a lock: it belongs to the thread that builds it, and an upload reads and
/// may change it on the calling thread.
class FUS_API ElectronicTrajectory {
public:
    /// A mask of `nbChannels` channels, all enabled, and no shots.
    explicit ElectronicTrajectory(unsigned nbChannels);
    ElectronicTrajectory(const ElectronicTrajectory& other);
    ElectronicTrajectory& operator=(const ElectronicTrajectory& other);
    virtual ~ElectronicTrajectory();

    /// All channels, enabled or not.
    unsigned channels() const;
    /// The enabled channels.
    unsigned activeChannels() const;
    /// ERR_INDEX at or beyond channels().
    bool channelEnabled(unsigned index) const;
    /// ERR_INDEX at or beyond channels().
    void enableChannel(unsigned index, bool state);
    void enableAllChannels(bool state);
    /// Keeps the state of the channels that stay; added channels are enabled.
    void setChannelCount(unsigned count);

    /// The number of shots.
    unsigned size() const;
    /// ERR_INDEX at or beyond size().
    PhaseShot& shot(unsigned index);
    const PhaseShot& shot(unsigned index) const;
    PhaseShot& operator[](unsigned index);
    const PhaseShot& operator[](unsigned index) const;

    /// Appends a clone.
    void addShot(const PhaseShot& shot);
    /// Inserts a clone before `index`; size() appends, ERR_INDEX beyond it.
    void insertShot(unsigned index, const PhaseShot& shot);
    /// Replaces by a clone. ERR_INDEX at or beyond size().
    void setShot(unsigned index, const PhaseShot& shot);
    /// ERR_INDEX at or beyond size().
    void removeShot(unsigned index);
    /// Deletes all shots; the mask stays.
    void clear();

    /// Sum of duration + delay of all shots [us], wrapping at 32 bits.
    unsigned totalDuration() const;
    /// Sum of the shots' packetSize() [bytes].
    unsigned totalShotsPacketSize() const;

    /// Cuts every shot that is too long for the connected generator in `mode` into a series of
    /// shorter ones that emit the same for the same total time. The first keeps the shot object
    /// with its arrays, the others have empty arrays (go on with the previous values).
    ///
    /// Throws ERR_NOT_CONNECTED without a generator, ERR_ARGUMENT for an unknown mode, and
    /// ERR_SLICE for a shot that is too short, one that can't be cut, and in EXEC_ELEC_REPEAT one
    /// that needs cutting. Works in place: after a failure the shots before the failing one stay
    /// sliced.
    void sliceShots(gprotocol::ElecExecMode mode);

private:
    friend class TrajectoryUpload;
    friend struct TestPeer;

    struct Private;

    /// The channel mask as the upload of the older protocols has it: two counts, then the bits.
    void writeMask(NetPacket& packet) const;

    /// sliceShots for limits at hand.
    void sliceWithin(const ShotLimits& limits, gprotocol::ElecExecMode mode);

    /// Cuts the shot at `index` by `slicer` and gives the index of the last shot of the cut.
    /// Throws ERR_SLICE if it can't be cut, and ERR_ARGUMENT "Too many shots (while slicing)" as
    /// soon as the trajectory holds more than `maxShots` shots.
    unsigned cutShot(unsigned index, const TimeSlicer& slicer, unsigned maxShots);

    std::unique_ptr<Private> m_private;
};

} // namespace fus
