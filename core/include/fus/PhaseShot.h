#pragma once

#include "fus/Export.h"

#include <vector>

namespace fus {

class ElectronicTrajectory;
class NetPacket;

/// One burst of ultrasound: how long the channels fire, how long the generator waits before the
/// next shot, and the phases, frequencies and amplitudes of the channels.
///
/// Each of the three arrays follows one rule, which the upload checks and this class does not: a
/// size of 0 keeps what the previous shot used, 1 is one value for all channels, and any other size
/// is the number of active channels of the trajectory, in ascending channel order.
///
/// A plain value without a lock: it belongs to the thread that builds it.
class FUS_API PhaseShot {
public:
    /// Duration and delay 0, all arrays empty.
    PhaseShot();
    /// Duration and delay 0, arrays of the given sizes filled with 0.
    PhaseShot(unsigned nbPhases, unsigned nbFrequencies, unsigned nbAmplitudes);
    PhaseShot(const PhaseShot& other);
    virtual PhaseShot& operator=(const PhaseShot& other);
    /// A new shot of the same class, owned by the caller. A derived class must override it.
    virtual PhaseShot* clone() const;
    virtual ~PhaseShot();

    /// Equal timings, and equal arrays in size and content.
    virtual bool operator==(const PhaseShot& other) const;
    virtual bool operator!=(const PhaseShot& other) const;

    /// Shooting time [us].
    unsigned duration() const;
    /// Time to wait before the next shot [us]; with one trigger pulse per shot it is waited before
    /// the shooting instead.
    unsigned delay() const;
    /// duration + delay [us], wrapping at 32 bits.
    unsigned totalDuration() const;
    /// Both in microseconds; unchecked, the limits are those of the generator that gets the shot.
    void setDuration(unsigned duration_us, unsigned delay_us);

    // Phases: 0..255 stands for an angle of 0..359 degrees.
    //
    // This and the two groups below fail alike: ERR_INDEX for an index at or beyond the count;
    // the bulk setters throw ERR_ARGUMENT for null values, and for a count of 0 or above the
    // present one. A bulk setter overwrites the first `count` elements and keeps the others.
    //
    // A resize to the present size keeps the content, whatever `preserve` says. To another size,
    // the common part is kept with `preserve`, and everything else is 0.

    unsigned phaseCount() const;
    unsigned char phase(unsigned index) const;
    void setPhase(unsigned index, unsigned char value);
    void setPhases(unsigned char* values, unsigned count);
    void resizePhases(unsigned size, bool preserve);

    // Frequencies [Hz].

    unsigned frequencyCount() const;
    unsigned frequency(unsigned index) const;
    void setFrequency(unsigned index, unsigned value);
    void setFrequencies(unsigned* values, unsigned count);
    void resizeFrequencies(unsigned size, bool preserve);

    // Amplitudes: 0..255 stands for 0 to the greatest amplitude of the generator.

    unsigned amplitudeCount() const;
    unsigned char amplitude(unsigned index) const;
    void setAmplitude(unsigned index, unsigned char value);
    void setAmplitudes(unsigned char* values, unsigned count);
    void resizeAmplitudes(unsigned size, bool preserve);

    /// Size of this shot's record in an upload packet [bytes].
    unsigned packetSize() const;

protected:
    /// Called on every shot by the upload, on the uploading thread, right before the phases are
    /// checked: a derived shot computes its phases here. False makes the upload fail.
    virtual bool prepareData(const ElectronicTrajectory& trajectory);

private:
    friend class TrajectoryUpload;
    friend struct TestPeer;

    /// Appends this shot's record at the packet's cursor; it takes packetSize() bytes.
    void writePacket(NetPacket& packet) const;

    unsigned m_duration = 0;
    unsigned m_delay = 0;
    std::vector<unsigned char> m_phases;
    std::vector<unsigned> m_frequencies;
    std::vector<unsigned char> m_amplitudes;
};

} // namespace fus
