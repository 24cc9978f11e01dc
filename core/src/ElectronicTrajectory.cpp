#include "fus/ElectronicTrajectory.h"

#include "fus/Mask1D.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"
#include "fus/P_TimeSlicer.h"

#include <limits>
#include <utility>
#include <vector>

namespace fus {

namespace {

using ShotPtr = std::unique_ptr<PhaseShot>;

bool isTooShort(const PhaseShot& shot, const ShotLimits& limits) {
    return shot.duration() < limits.minDuration || shot.totalDuration() < limits.minTotal;
}

bool isTooLong(const PhaseShot& shot, const ShotLimits& limits) {
    return shot.duration() > limits.maxDuration || shot.totalDuration() > limits.maxTotal;
}

} // namespace

struct ElectronicTrajectory::Private {
    explicit Private(unsigned nbChannels) : mask(nbChannels, true) {}

    Private(const Private& other) : mask(other.mask) {
        shots.reserve(other.shots.size());
        for (const ShotPtr& shot : other.shots) {
            shots.emplace_back(shot->clone());
        }
    }

    Private& operator=(const Private&) = delete;

    ShotPtr& at(unsigned index) {
        if (index >= shots.size()) {
            FUS_THROW_INDEX("shot index", index, shots.size());
        }
        return shots[index];
    }

    Mask1D mask;
    std::vector<ShotPtr> shots;
};

ElectronicTrajectory::ElectronicTrajectory(unsigned nbChannels)
    : m_private(std::make_unique<Private>(nbChannels)) {}

ElectronicTrajectory::ElectronicTrajectory(const ElectronicTrajectory& other)
    : m_private(std::make_unique<Private>(*other.m_private)) {}

ElectronicTrajectory& ElectronicTrajectory::operator=(const ElectronicTrajectory& other) {
    if (this != &other) {
        // A clone of a derived shot may throw; the old record goes only when the new one is there.
        m_private = std::make_unique<Private>(*other.m_private);
    }
    return *this;
}

ElectronicTrajectory::~ElectronicTrajectory() = default;

unsigned ElectronicTrajectory::channels() const {
    return static_cast<unsigned>(m_private->mask.size());
}

unsigned ElectronicTrajectory::activeChannels() const {
    return static_cast<unsigned>(m_private->mask.activeCount());
}

bool ElectronicTrajectory::channelEnabled(unsigned index) const {
    return m_private->mask.get(index);
}

void ElectronicTrajectory::enableChannel(unsigned index, bool state) {
    m_private->mask.set(index, state);
}

void ElectronicTrajectory::enableAllChannels(bool state) {
    m_private->mask.setAll(state);
}

void ElectronicTrajectory::setChannelCount(unsigned count) {
    m_private->mask.resize(count, Mask1D::ResizeExistingParam::COPY,
                           Mask1D::ResizeExtraParam::SET_1);
}

unsigned ElectronicTrajectory::size() const {
    return static_cast<unsigned>(m_private->shots.size());
}

PhaseShot& ElectronicTrajectory::shot(unsigned index) {
    return *m_private->at(index);
}

const PhaseShot& ElectronicTrajectory::shot(unsigned index) const {
    return *m_private->at(index);
}

PhaseShot& ElectronicTrajectory::operator[](unsigned index) {
    return shot(index);
}

const PhaseShot& ElectronicTrajectory::operator[](unsigned index) const {
    return shot(index);
}

void ElectronicTrajectory::addShot(const PhaseShot& shot) {
    m_private->shots.emplace_back(ShotPtr(shot.clone()));
}

void ElectronicTrajectory::insertShot(unsigned index, const PhaseShot& shot) {
    auto& shots = m_private->shots;
    if (index > shots.size()) {
        FUS_THROW_INDEX("shot index", index, shots.size());
    }
    shots.insert(shots.begin() + static_cast<std::ptrdiff_t>(index), ShotPtr(shot.clone()));
}

void ElectronicTrajectory::setShot(unsigned index, const PhaseShot& shot) {
    ShotPtr& slot = m_private->at(index);
    slot.reset(shot.clone());
}

void ElectronicTrajectory::removeShot(unsigned index) {
    m_private->at(index);
    m_private->shots.erase(m_private->shots.begin() + static_cast<std::ptrdiff_t>(index));
}

void ElectronicTrajectory::clear() {
    m_private->shots.clear();
}

unsigned ElectronicTrajectory::totalDuration() const {
    unsigned total = 0;
    for (const ShotPtr& shot : m_private->shots) {
        total += shot->totalDuration();
    }
    return total;
}

unsigned ElectronicTrajectory::totalShotsPacketSize() const {
    unsigned total = 0;
    for (const ShotPtr& shot : m_private->shots) {
        total += shot->packetSize();
    }
    return total;
}

void ElectronicTrajectory::writeMask(NetPacket& packet) const {
    const unsigned count = channels();
    packet.write32(count);
    packet.write32(activeChannels());
    std::vector<unsigned char> bits((static_cast<std::size_t>(count) + 7) / 8);
    for (unsigned i = 0; i < count; ++i) {
        if (channelEnabled(i)) {
            bits[i / 8] = static_cast<unsigned char>(bits[i / 8] | (1U << (i % 8)));
        }
    }
    packet.writeBytes(bits.data(), static_cast<unsigned>(bits.size()));
}

void ElectronicTrajectory::sliceWithin(const ShotLimits& limits, gprotocol::ElecExecMode mode) {
    TimeSlicer slicer;
    // Limits that the slicer refuses stay 0 there: then nothing can be cut, and what has to be
    // fails below.
    slicer.setLimits(limits.minTotal, limits.maxTotal, limits.minDuration, limits.maxDuration);
    for (unsigned i = 0; i < size(); ++i) {
        if (isTooShort(shot(i), limits)) {
            FUS_THROW(ERR_SLICE);
        }
        if (!isTooLong(shot(i), limits)) {
            continue;
        }
        if (mode == gprotocol::EXEC_ELEC_REPEAT) { // has one shot by definition
            FUS_THROW(ERR_SLICE);
        }
        i = cutShot(i, slicer, std::numeric_limits<unsigned>::max());
    }
}

unsigned ElectronicTrajectory::cutShot(unsigned index, const TimeSlicer& slicer,
                                       unsigned maxShots) {
    TimeSlicer::Iterator cut = slicer.slice(shot(index).duration(), shot(index).delay());
    shot(index).setDuration(cut.sliceDuration, cut.sliceDelay);
    while (!cut.next().exhausted()) {
        PhaseShot continuation;
        continuation.setDuration(cut.sliceDuration, cut.sliceDelay);
        insertShot(++index, continuation);
        if (size() > maxShots) {
            FUS_THROW_MSG(ERR_ARGUMENT, "Too many shots (while slicing)");
        }
    }
    return index;
}

} // namespace fus
