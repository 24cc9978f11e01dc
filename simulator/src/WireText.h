#pragma once

#include <string>

namespace fus {
namespace simulator {

// The text without the sections whose name begins with "simulator"; all else as it stands. A
// section reaches from its line to the next section line, so the comments above a section that
// stays belong to the one before it.
std::string withoutSimulatorSections(const std::string& text);

} // namespace simulator
} // namespace fus
