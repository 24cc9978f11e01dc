#pragma once

#include "fus/Export.h"
#include "fus/Move.h"

#include <memory>

namespace fus {

/// A mechanical trajectory: for each actuator a list of moves.
///
/// A plain value without a lock. An actuator at or beyond `actuatorCount()` throws `ERR_INDEX`, and
/// so does a move at or beyond the size of its list.
class FUS_API MechanicalDisplacement {
public:
    /// No moves. The number of actuators stays.
    explicit MechanicalDisplacement(unsigned actuatorCount);
    MechanicalDisplacement(const MechanicalDisplacement& other);
    MechanicalDisplacement& operator=(const MechanicalDisplacement& other);
    ~MechanicalDisplacement();

    unsigned actuatorCount() const;
    unsigned actuatorMoveCount(unsigned actuator) const;
    /// Appends.
    void addMove(unsigned actuator, const Move& move);
    /// Inserts before `index`; the size of the list appends.
    void insertMove(unsigned actuator, unsigned index, const Move& move);
    void setMove(unsigned actuator, unsigned index, const Move& move);
    void removeMove(unsigned actuator, unsigned index);
    Move getMove(unsigned actuator, unsigned index) const;
    /// Removes all moves.
    void clear();
    /// The time of the actuator that takes longest [ms], wrapping at 32 bits.
    unsigned totalDuration() const;

private:
    struct Private;

    std::unique_ptr<Private> m_private;
};

} // namespace fus
