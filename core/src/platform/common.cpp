#include "platform/platform.h"

/// What no system does in a way of its own.
namespace fus::platform {

std::string socketErrorText(int error) {
    const std::string text = systemErrorText(error);
    return text.empty() ? "?" : text;
}

std::string formatIPv4(std::uint32_t address) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string((address >> shift) & 0xFFU);
        if (shift > 0)
            text += '.';
    }
    return text;
}

} // namespace fus::platform
