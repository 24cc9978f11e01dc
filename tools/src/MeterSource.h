#pragma once

#include "Attempt.h"
#include "Meter.h"

#include <memory>
#include <utility>
#include <vector>

namespace fus::tool {

/// What a meter asks, by the generation of the generator.
class Meter::Source {
public:
    virtual ~Source() = default;

    /// Takes the values and states of `boards`, which are as `blank()`. False if it shall not go
    /// on.
    virtual bool read(std::vector<BoardReading>& boards) = 0;

    /// The boards with names, units and thresholds, and without values.
    const std::vector<BoardReading>& blank() const { return m_blank; }

protected:
    explicit Source(GoOn goOn) : m_goOn(std::move(goOn)) {}
    /// To be asked in front of each question to the generator.
    bool goesOn() const { return m_goOn(); }

    std::vector<BoardReading> m_blank;

private:
    const GoOn m_goOn;
};

/// Since protocol 3.0: each board has measures of its own, and a state.
std::unique_ptr<Meter::Source> makeBoardSource(FUS& fus, Meter::GoOn goOn);
/// Before: lists of temperatures, currents and supplies.
std::unique_ptr<Meter::Source> makeListSource(FUS& fus, Meter::GoOn goOn);

/// Gives each of several measures of one name a number behind it.
void numberAlike(std::vector<Value>& values);

} // namespace fus::tool
