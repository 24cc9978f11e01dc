#include "fus/P_LogMacros.h"
#include "fus/P_TimeSlicer.h"

#include <algorithm>

namespace fus {

bool TimeSlicer::setLimits(unsigned minTotal, unsigned maxTotal, unsigned minDuration,
                           unsigned maxDuration) {
    if (minTotal >= maxTotal || minDuration >= maxDuration || maxDuration > maxTotal) {
        return false;
    }
    m_minTotal = minTotal;
    m_maxTotal = maxTotal;
    m_minDuration = minDuration;
    m_maxDuration = maxDuration;
    return true;
}

TimeSlicer::Iterator TimeSlicer::slice(unsigned duration, unsigned delay) const {
    checkInput(duration, delay);
    Iterator iterator;
    iterator.slicer = this;
    iterator.restDuration = duration;
    iterator.restDelay = delay;
    iterator.next();
    return iterator;
}

void TimeSlicer::checkInput(unsigned duration, unsigned delay) const {
    if (duration < m_minDuration) {
        FUS_LOG(ERROR, "duration too small (%u < %u)", duration, m_minDuration);
        FUS_THROW(ERR_SLICE);
    }
    if (duration + delay < m_minTotal) {
        FUS_LOG(ERROR, "duration+delay too small (%u + %u < %u)", duration, delay, m_minTotal);
        FUS_THROW(ERR_SLICE);
    }
    if (m_minDuration != 0 && !canPlaceDelay(duration, delay)) {
        FUS_THROW(ERR_SLICE);
    }
}

/// Whether one pair, which needs a duration, can hold the whole delay.
bool TimeSlicer::canPlaceDelay(unsigned duration, unsigned delay) const {
    if (delay > m_maxTotal - m_minDuration) {
        return false;
    }
    return duration >= m_minTotal + m_minDuration || delay <= m_maxTotal - duration;
}

bool TimeSlicer::Iterator::exhausted() const {
    return restDuration == 0 && restDelay == 0 && sliceDuration == 0 && sliceDelay == 0;
}

TimeSlicer::Iterator& TimeSlicer::Iterator::next() {
    if (restDuration == 0 && restDelay == 0) {
        sliceDuration = 0;
        sliceDelay = 0;
        return *this;
    }
    if (restDuration > slicer->m_maxDuration) {
        takeFullDuration();
    } else if (restDuration != 0) {
        takeLastDuration();
    } else {
        takeDelay();
    }
    // An empty pair leaves everything as it was, and so would every further one.
    if (sliceDuration == 0 && sliceDelay == 0) {
        FUS_THROW(ERR_SLICE);
    }
    return *this;
}

void TimeSlicer::Iterator::takeFullDuration() {
    sliceDuration = slicer->m_maxDuration;
    sliceDelay = 0;
    restDuration -= slicer->m_maxDuration;
    rebalance();
}

void TimeSlicer::Iterator::takeLastDuration() {
    const unsigned duration = restDuration;
    const unsigned delay = restDelay;
    const unsigned minDuration = slicer->m_minDuration;
    restDuration = 0;
    sliceDuration = duration;
    sliceDelay = std::min(delay, slicer->m_maxTotal - duration);
    restDelay = delay - sliceDelay;
    if (restDelay != 0 && minDuration != 0) {
        // A later pair would have a delay alone, which the generator refuses: leave it the least
        // duration and the whole delay.
        sliceDuration = duration - minDuration;
        sliceDelay = 0;
        restDuration = minDuration;
        restDelay = delay;
    }
    rebalance();
}

void TimeSlicer::Iterator::takeDelay() {
    sliceDuration = 0;
    if (restDelay > slicer->m_maxTotal) {
        sliceDelay = slicer->m_maxTotal;
        restDelay -= slicer->m_maxTotal;
        rebalance();
        return;
    }
    sliceDelay = restDelay;
    restDelay = 0;
    if (sliceDelay < slicer->m_minTotal) {
        FUS_THROW(ERR_SLICE);
    }
}

/// Moves time from the pair just made into what is left, so that a legal shot remains possible.
void TimeSlicer::Iterator::rebalance() {
    if (restDuration + restDelay == 0) {
        return;
    }
    if (restDuration != 0 && restDuration < slicer->m_minDuration) {
        moveDurationToRest(slicer->m_minDuration - restDuration);
    }
    const unsigned rest = restDuration + restDelay;
    if (rest == 0 || rest >= slicer->m_minTotal) {
        return;
    }
    unsigned missing = slicer->m_minTotal - rest;
    if (restDuration == 0 && slicer->m_minDuration == 0) {
        moveDelayToRest(missing);
    }
    if (missing != 0) {
        moveDurationToRest(missing);
    }
}

void TimeSlicer::Iterator::moveDelayToRest(unsigned& missing) {
    const unsigned moved = std::min(sliceDelay, missing);
    sliceDelay -= moved;
    restDelay += moved;
    missing -= moved;
}

void TimeSlicer::Iterator::moveDurationToRest(unsigned amount) {
    if (sliceDuration < amount) {
        FUS_THROW(ERR_SLICE);
    }
    sliceDuration -= amount;
    restDuration += amount;
}

} // namespace fus
