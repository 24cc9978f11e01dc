#pragma once

#include "fus/MProtocol.h"

namespace fus::mprotocol {

/// The text of an error of the mechanical board; null for a code that has none (above 34).
const char* mechErrorText(unsigned char code) noexcept;

} // namespace fus::mprotocol
