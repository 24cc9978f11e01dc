#pragma once

#include "fus/Mask1D.h"

#include <ostream>
#include <string>

namespace fus::tool {

/// A configuration of the back panel: which channels of the synthesizer boards and of the amplifier
/// boards are in use, 16 to a slot.
struct Wiring {
    Mask1D snt;
    Mask1D amp;

    bool empty() const { return snt.activeCount() == 0 && amp.activeCount() == 0; }
    /// Whether the same channels are in use, whatever clear ones follow.
    bool isSame(const Wiring& other) const {
        return snt.isComparable(other.snt) && amp.isComparable(other.amp);
    }
    /// Throws ToolError if no generator would take it.
    void check() const;
    /// "240 channels in use, 16 slots"
    std::string summary() const;
};

/// Reads "1111-0000": 0 and 1 for each channel; '-', '_' and blanks between them don't count.
/// Throws UsageError, which begins with the option's name.
Mask1D parseMask(const std::string& option, const std::string& text);

/// "1111-0000", as parseMask reads it; without the separators as programs like it.
std::string maskText(const Mask1D& mask, bool separated);

/// A row for each slot.
void drawWiring(const Wiring& wiring, std::ostream& out);
/// A row for each slot, what is and what will be side by side; '*' in front of a row that differs.
void drawChange(const Wiring& now, const Wiring& then, std::ostream& out);

} // namespace fus::tool
