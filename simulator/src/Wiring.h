// The back panel's masks, and how the generator's text tells them: "1111-0011", a group for each
// slot.
#pragma once

#include "fussim/Description.h"

#include <cstddef>
#include <string>

namespace fus {
namespace simulator {

std::size_t channelsPerSlot();
std::size_t slotCount();

Wiring wiringFromText(const std::string& snt, const std::string& amp);
std::string wiringText(const std::vector<bool>& flags);
// Of these flags in one slot.
std::size_t channelsOfSlot(const std::vector<bool>& flags, std::size_t slot);

// Clear flags at the end don't count.
bool isSameWiring(const Wiring& a, const Wiring& b);
// Why no generator can work with it; empty if it can.
std::string flawOf(const Wiring& wiring);

} // namespace simulator
} // namespace fus
