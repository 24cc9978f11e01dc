#include "Refusal.h"

#include <cstdio>

namespace fus {
namespace simulator {

std::string formattedList(const char* format, std::va_list arguments) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, arguments);
    return text;
}

std::string formatted(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = formattedList(format, arguments);
    va_end(arguments);
    return text;
}

void refuse(std::uint32_t code, std::uint32_t argument, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string text = formattedList(format, arguments);
    va_end(arguments);
    throw Refusal{code, argument, std::move(text)};
}

} // namespace simulator
} // namespace fus
