#pragma once

#include "Attempt.h"
#include "Meter.h"

#include <functional>
#include <memory>

namespace fus::tool {

/// What a meter asks, by the generation of the generator.
class Meter::Source {
public:
    virtual ~Source() = default;

    /// Takes the values and states of `boards`, which are as `blank()`. False if `goOn` said no.
    virtual bool read(std::vector<BoardReading>& boards, const std::function<bool()>& goOn) = 0;

    /// The boards with names, units and thresholds, and without values.
    const std::vector<BoardReading>& blank() const { return m_blank; }

protected:
    std::vector<BoardReading> m_blank;
};

/// Since protocol 3.0: each board has measures of its own, and a state.
std::unique_ptr<Meter::Source> makeBoardSource(FUS& fus);
/// Before: lists of temperatures, currents and supplies.
std::unique_ptr<Meter::Source> makeListSource(FUS& fus);

/// Gives each of several measures of one name a number behind it.
void numberAlike(std::vector<Value>& values);

} // namespace fus::tool
