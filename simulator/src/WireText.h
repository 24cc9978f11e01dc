// The text that a generator sends, line by line.
#pragma once

#include <string>

namespace fus {
namespace simulator {

// The text with these channels in use; all else as it stands.
std::string withBackPanel(const std::string& text, const std::string& snt, const std::string& amp);

} // namespace simulator
} // namespace fus
