#include "fus/MechanicalDisplacement.h"

#include "fus/P_LogMacros.h"

#include <algorithm>
#include <vector>

namespace fus {

struct MechanicalDisplacement::Private {
    using Moves = std::vector<Move>;

    explicit Private(unsigned actuators) : lists(actuators) {}

    Moves& at(unsigned actuator) {
        if (actuator >= lists.size()) {
            FUS_THROW_INDEX("actuator index", actuator, lists.size());
        }
        return lists[actuator];
    }

    /// The place of a move, below `bound`.
    static Moves::iterator place(Moves& moves, unsigned index, std::size_t bound) {
        if (index >= bound) {
            FUS_THROW_INDEX("Move index", index, bound);
        }
        return moves.begin() + static_cast<Moves::difference_type>(index);
    }

    std::vector<Moves> lists;
};

MechanicalDisplacement::MechanicalDisplacement(unsigned actuatorCount)
    : m_private(std::make_unique<Private>(actuatorCount)) {}

MechanicalDisplacement::MechanicalDisplacement(const MechanicalDisplacement& other)
    : m_private(std::make_unique<Private>(*other.m_private)) {}

MechanicalDisplacement& MechanicalDisplacement::operator=(const MechanicalDisplacement& other) {
    *m_private = *other.m_private;
    return *this;
}

MechanicalDisplacement::~MechanicalDisplacement() = default;

unsigned MechanicalDisplacement::actuatorCount() const {
    return static_cast<unsigned>(m_private->lists.size());
}

unsigned MechanicalDisplacement::actuatorMoveCount(unsigned actuator) const {
    return static_cast<unsigned>(m_private->at(actuator).size());
}

void MechanicalDisplacement::addMove(unsigned actuator, const Move& move) {
    m_private->at(actuator).push_back(move);
}

void MechanicalDisplacement::insertMove(unsigned actuator, unsigned index, const Move& move) {
    Private::Moves& moves = m_private->at(actuator);
    moves.insert(Private::place(moves, index, moves.size() + 1), move);
}

void MechanicalDisplacement::setMove(unsigned actuator, unsigned index, const Move& move) {
    Private::Moves& moves = m_private->at(actuator);
    *Private::place(moves, index, moves.size()) = move;
}

void MechanicalDisplacement::removeMove(unsigned actuator, unsigned index) {
    Private::Moves& moves = m_private->at(actuator);
    moves.erase(Private::place(moves, index, moves.size()));
}

Move MechanicalDisplacement::getMove(unsigned actuator, unsigned index) const {
    Private::Moves& moves = m_private->at(actuator);
    return *Private::place(moves, index, moves.size());
}

void MechanicalDisplacement::clear() {
    for (Private::Moves& moves : m_private->lists) {
        moves.clear();
    }
}

unsigned MechanicalDisplacement::totalDuration() const {
    unsigned longest = 0;
    for (const Private::Moves& moves : m_private->lists) {
        unsigned sum = 0;
        for (const Move& move : moves) {
            sum += move.delay();
        }
        longest = std::max(longest, sum);
    }
    return longest;
}

} // namespace fus
