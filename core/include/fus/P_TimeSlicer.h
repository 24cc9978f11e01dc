#pragma once

namespace fus {

/// What a generator allows for one shot in one execution mode [us].
struct ShotLimits {
    unsigned minDuration = 0;
    unsigned maxDuration = 0;
    unsigned minTotal = 0; // of duration + delay
    unsigned maxTotal = 0;
};

/// The arithmetic of cutting one shot into shorter ones: (duration, delay) pairs that respect the
/// limits and whose columns add up to the input. All sums are of 32 bits and wrap.
///
///     slicer.setLimits(...);
///     for (auto cut = slicer.slice(duration, delay); !cut.exhausted(); cut.next()) {
///         use(cut.sliceDuration, cut.sliceDelay);
///     }
///
/// The iterator points to its slicer, which must outlive it.
class TimeSlicer {
public:
    struct Iterator {
        const TimeSlicer* slicer = nullptr;
        unsigned restDuration = 0; // still to be handed out
        unsigned restDelay = 0;
        unsigned sliceDuration = 0; // the pair handed out last
        unsigned sliceDelay = 0;

        /// Computes the following pair; an exhausted iterator stays exhausted. Throws ERR_SLICE
        /// when what is left can't be cut, also where a cut would make no progress.
        Iterator& next();
        /// Neither a pair nor anything left.
        bool exhausted() const;

    private:
        void takeFullDuration();
        void takeLastDuration();
        void takeDelay();
        void rebalance();
        void moveDelayToRest(unsigned& missing);
        void moveDurationToRest(unsigned amount);
    };

    /// False, and nothing is stored, if a minimum is not below its maximum or maxDuration is above
    /// maxTotal. All limits [us].
    bool setLimits(unsigned minTotal, unsigned maxTotal, unsigned minDuration,
                   unsigned maxDuration);

    /// An iterator that already holds the first pair of (duration, delay) [us]. Throws ERR_SLICE if
    /// the input is below a minimum or its delay can't be placed.
    Iterator slice(unsigned duration, unsigned delay) const;

private:
    void checkInput(unsigned duration, unsigned delay) const;
    bool canPlaceDelay(unsigned duration, unsigned delay) const;

    unsigned m_minTotal = 0;
    unsigned m_maxTotal = 0;
    unsigned m_minDuration = 0; // may stay 0
    unsigned m_maxDuration = 0;
};

} // namespace fus
