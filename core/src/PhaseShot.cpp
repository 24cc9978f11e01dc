#include "fus/PhaseShot.h"

#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <algorithm>

namespace fus {

namespace {

/// Bytes of a record around the arrays: three counts of 16 bits, duration and delay.
constexpr unsigned FIXED_RECORD_SIZE = 14;

template <typename T>
unsigned countOf(const std::vector<T>& values) {
    return static_cast<unsigned>(values.size());
}

template <typename Values>
auto& checkedAt(Values& values, unsigned index, const char* description) {
    if (index >= values.size()) {
        FUS_THROW_INDEX(description, index, values.size());
    }
    return values[index];
}

template <typename T>
void overwriteFirst(std::vector<T>& target, const T* values, unsigned count) {
    if (values == nullptr || count == 0 || count > target.size()) {
        FUS_THROW(ERR_ARGUMENT);
    }
    std::copy_n(values, count, target.begin());
}

template <typename T>
void resizeTo(std::vector<T>& values, unsigned size, bool preserve) {
    if (size == values.size()) {
        return;
    }
    std::vector<T> resized(size);
    if (preserve) {
        std::copy_n(values.begin(), std::min<std::size_t>(size, values.size()), resized.begin());
    }
    values.swap(resized);
}

void writeBytes(NetPacket& packet, const std::vector<unsigned char>& bytes) {
    packet.write16(static_cast<unsigned short>(bytes.size()));
    packet.writeBytes(bytes.data(), countOf(bytes));
}

} // namespace

PhaseShot::PhaseShot() = default;

PhaseShot::PhaseShot(unsigned nbPhases, unsigned nbFrequencies, unsigned nbAmplitudes)
    : m_phases(nbPhases), m_frequencies(nbFrequencies), m_amplitudes(nbAmplitudes) {}

PhaseShot::PhaseShot(const PhaseShot& other) = default;

PhaseShot& PhaseShot::operator=(const PhaseShot& other) = default;

PhaseShot* PhaseShot::clone() const {
    return new PhaseShot(*this);
}

PhaseShot::~PhaseShot() = default;

bool PhaseShot::operator==(const PhaseShot& other) const {
    return this == &other || (m_duration == other.m_duration && m_delay == other.m_delay &&
                              m_phases == other.m_phases && m_frequencies == other.m_frequencies &&
                              m_amplitudes == other.m_amplitudes);
}

bool PhaseShot::operator!=(const PhaseShot& other) const {
    return !(*this == other);
}

bool PhaseShot::prepareData(const ElectronicTrajectory& /*trajectory*/) {
    return true;
}

unsigned PhaseShot::duration() const {
    return m_duration;
}

unsigned PhaseShot::delay() const {
    return m_delay;
}

unsigned PhaseShot::totalDuration() const {
    return m_duration + m_delay;
}

void PhaseShot::setDuration(unsigned duration_us, unsigned delay_us) {
    m_duration = duration_us;
    m_delay = delay_us;
}

unsigned PhaseShot::phaseCount() const {
    return countOf(m_phases);
}

unsigned char PhaseShot::phase(unsigned index) const {
    return checkedAt(m_phases, index, "phase index");
}

void PhaseShot::setPhase(unsigned index, unsigned char value) {
    checkedAt(m_phases, index, "phase index") = value;
}

void PhaseShot::setPhases(unsigned char* values, unsigned count) {
    overwriteFirst(m_phases, values, count);
}

void PhaseShot::resizePhases(unsigned size, bool preserve) {
    resizeTo(m_phases, size, preserve);
}

unsigned PhaseShot::frequencyCount() const {
    return countOf(m_frequencies);
}

unsigned PhaseShot::frequency(unsigned index) const {
    return checkedAt(m_frequencies, index, "frequency index");
}

void PhaseShot::setFrequency(unsigned index, unsigned value) {
    checkedAt(m_frequencies, index, "frequency index") = value;
}

void PhaseShot::setFrequencies(unsigned* values, unsigned count) {
    overwriteFirst(m_frequencies, values, count);
}

void PhaseShot::resizeFrequencies(unsigned size, bool preserve) {
    resizeTo(m_frequencies, size, preserve);
}

unsigned PhaseShot::amplitudeCount() const {
    return countOf(m_amplitudes);
}

unsigned char PhaseShot::amplitude(unsigned index) const {
    return checkedAt(m_amplitudes, index, "amplitude index");
}

void PhaseShot::setAmplitude(unsigned index, unsigned char value) {
    checkedAt(m_amplitudes, index, "amplitude index") = value;
}

void PhaseShot::setAmplitudes(unsigned char* values, unsigned count) {
    overwriteFirst(m_amplitudes, values, count);
}

void PhaseShot::resizeAmplitudes(unsigned size, bool preserve) {
    resizeTo(m_amplitudes, size, preserve);
}

unsigned PhaseShot::packetSize() const {
    return FIXED_RECORD_SIZE + phaseCount() + 4 * frequencyCount() + amplitudeCount();
}

void PhaseShot::writePacket(NetPacket& packet) const {
    packet.write16(static_cast<unsigned short>(m_frequencies.size()));
    packet.writeAll32(m_frequencies.data(), countOf(m_frequencies));
    writeBytes(packet, m_phases);
    writeBytes(packet, m_amplitudes);
    packet.write32(m_duration);
    packet.write32(m_delay);
}

} // namespace fus
