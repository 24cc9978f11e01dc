// The text that a generator sends, line by line.
#pragma once

#include <string>

namespace fus {
namespace simulator {

// The text without the sections whose name begins with "simulator"; all else as it stands. A
// section reaches from its line to the next section line, so the comments above a section that
// stays belong to the one before it.
std::string withoutSimulatorSections(const std::string& text);

// The text with these channels in use; all else as it stands.
std::string withBackPanel(const std::string& text, const std::string& snt, const std::string& amp);

} // namespace simulator
} // namespace fus
